#include "platform/CVMemory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "TemporaryFolder.h"

namespace {

// The number that follows the field in a file of /proc, or -1 when it has no such field.
long numberAfter(const std::string& path, const std::string& field) {
    std::string text = readFile(path);
    size_t at = text.find(field);
    return at == std::string::npos ? -1 : std::stol(text.substr(at + field.size()));
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
    // Kilobytes of anonymous memory that huge pages back in this process, and how many times,
    // machine-wide, a fault that asked for a huge page got small ones instead.
    auto hugePagesKilobytes = [] {
        return numberAfter("/proc/self/smaps_rollup", "AnonHugePages:");
    };
    auto hugePageFallbacks = [] { return numberAfter("/proc/vmstat", "thp_fault_fallback "); };
    long before = hugePagesKilobytes();
    long fallbacksBefore = hugePageFallbacks();
    ASSERT_GE(before, 0);
    // Records of the size a folder pairing makes, well past what is already mapped.
    std::vector<std::unique_ptr<char[]>> records;
    for (int index = 0; index < 96 * 1024; ++index) {
        records.emplace_back(new char[1000]);
        memset(records.back().get(), 1, 1000);
    }
    long grown = hugePagesKilobytes() - before;
    if (grown < 2048 && hugePageFallbacks() > fallbacksBefore) {
        GTEST_SKIP() << "the kernel had no free huge pages to give";
    }
    EXPECT_GE(grown, 2048);
    EXPECT_TRUE(CVPreferLargeMemoryPages()) << "asking again still answers";
}
