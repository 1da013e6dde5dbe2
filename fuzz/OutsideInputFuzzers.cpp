// Fuzz targets for the outside inputs the tool parses besides its arguments: git's name-status
// output, a desktop entry's Exec value, an Info.plist, and a /proc/PID/stat line. Built once per
// target, the target chosen by CVDIFF_FUZZ_TARGET.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "model/CVCLISerializedChangesetSummary.h"
#include "model/CVCLISerializedFileList.h"
#include "platform/CVBundle.h"
#include "platform/CVWorkspace.h"
#include "process/ZPProcessInformation.h"

namespace {

void fuzzGitSummary(std::string_view bytes) {
    auto summary =
        CVCLISerializedChangesetSummary::serializedChangesetSummaryWithGitSummaryLines(bytes);
    if (summary == nullptr) {
        __builtin_trap();  // Never null, whatever the lines.
    }
}

void fuzzExecValue(std::string_view bytes) {
    if (auto program = CVWorkspace::programOfExecValue(std::string(bytes))) {
        if (program->empty()) {
            __builtin_trap();
        }
    }
}

void fuzzInfoPlist(std::string_view bytes) {
    CVBundle bundle = CVBundle::bundleWithInfoPlistText(bytes, "/Fuzz.app");
    (void)bundle.bundleIdentifier();
}

void fuzzStatLine(std::string_view bytes) {
    if (auto stat = ZPProcessInformation::parseStatLine(bytes)) {
        if (stat->name.size() > bytes.size()) {
            __builtin_trap();
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    CVDIFF_FUZZ_TARGET(bytes);
    return 0;
}
