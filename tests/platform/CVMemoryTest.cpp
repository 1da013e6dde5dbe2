#include "platform/CVMemory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "TemporaryFolder.h"

namespace {

// Kilobytes of anonymous memory that transparent huge pages back in this process.
long anonymousHugePagesKilobytes() {
    std::string rollup = readFile("/proc/self/smaps_rollup");
    size_t field = rollup.find("AnonHugePages:");
    return field == std::string::npos ? -1 : std::stol(rollup.substr(field + 14));
}

// How many times, machine-wide, a fault that asked for a huge page got small ones instead.
long hugePageFallbacks() {
    std::string counters = readFile("/proc/vmstat");
    size_t field = counters.find("thp_fault_fallback ");
    return field == std::string::npos ? 0 : std::stol(counters.substr(field + 19));
}

}  // namespace

TEST(CVMemoryTest, SmallAllocationsAfterTheRequestLandInLargePages) {
    if (readFile("/sys/kernel/mm/transparent_hugepage/enabled").find("[never]") !=
        std::string::npos) {
        GTEST_SKIP() << "transparent huge pages are off on this machine";
    }
    if (!CVPreferLargeMemoryPages()) {
        GTEST_SKIP() << "this build does not allocate with mimalloc";
    }
    long before = anonymousHugePagesKilobytes();
    long fallbacksBefore = hugePageFallbacks();
    ASSERT_GE(before, 0);
    // Records of the size a folder pairing makes, well past what is already mapped.
    std::vector<std::unique_ptr<char[]>> records;
    for (int index = 0; index < 96 * 1024; ++index) {
        records.emplace_back(new char[1000]);
        memset(records.back().get(), 1, 1000);
    }
    long grown = anonymousHugePagesKilobytes() - before;
    if (grown < 2048 && hugePageFallbacks() > fallbacksBefore) {
        GTEST_SKIP() << "the kernel had no free huge pages to give";
    }
    EXPECT_GE(grown, 2048);
    EXPECT_TRUE(CVPreferLargeMemoryPages()) << "asking again still answers";
}
