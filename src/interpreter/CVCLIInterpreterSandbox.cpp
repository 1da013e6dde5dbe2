// The sandbox step of a run: when the tool runs inside an app sandbox it reaches the user's files
// only through a grant of file access that the application shares through the app group.

#include <unistd.h>

#include <cstdlib>

#include "access/CORAppGroup.h"
#include "interpreter/CVCLIInterpreter.h"
#include "platform/CVEnvironment.h"
#include "platform/CVPaths.h"
#include "platform/CVPrint.h"

namespace {

constexpr const char* kSandboxContainerVariable = "APP_SANDBOX_CONTAINER_ID";

bool runsSandboxed() {
    return CVEnvironmentValue(kSandboxContainerVariable).has_value();
}

// Imports a grant the application shared and resolves the tool's own.
std::optional<std::string> importAndResolveAccess() {
    CVUserDefaults& defaults = CORAppGroup::appGroupUserDefaults();
    CORSharedItemsAppGroup::importSharedAccessBookmark();
    return CORAppGroup::resolveSecurityScopedAccessBookmark(defaults);
}

std::string accessAllowedLine(const std::string& path) {
    return "File access allowed for \"" + path + "\"\n";
}

}  // namespace

void CVCLIInterpreter::obtainSandboxFileAccess() {
    if (!runsSandboxed()) {
        return;
    }
    if (auto path = importAndResolveAccess()) {
        CVDebugLog([&] { return accessAllowedLine(*path); });
        return;
    }
    CVPrint(stdout, "Please allow file access for cvdiff in Corvane.\n");
    sendAuthorizationRequest();
    auto path = importAndResolveAccess();
    if (!path) {
        CVPrint(stdout, "File access was denied\n");
        CVFinishStandardStreams();
        std::_Exit(1);
    }
    CVPrint(stdout, accessAllowedLine(*path));
}

void CVCLIInterpreter::adoptSandboxWorkingDirectory() {
    if (!runsSandboxed()) {
        return;
    }
    std::optional<std::string> pwd = CVEnvironmentValue("PWD");
    if (pwd && *pwd != workingDirectory_ && chdir(pwd->c_str()) == 0) {
        workingDirectory_ = *pwd;
    }
}
