// CVCLIInterpreter: reaching the application (the error constructor, whether a copy is running,
// and launching one).

#include "interpreter/CVCLIInterpreter.h"
#include "link/CVApplicationLocator.h"
#include "link/CVDistributedNotificationWaiter.h"
#include "link/cvdiff-util.h"
#include "platform/CVCorvaneContract.h"
#include "platform/CVPrint.h"
#include "platform/CVRunningApplication.h"
#include "platform/CVSessionBus.h"
#include "platform/CVWorkspace.h"

namespace {

constexpr double kLaunchWait = 60.0;

const char* yesOrNo(bool value) {
    return value ? "YES" : "NO";
}

}  // namespace

CVError CVCLIInterpreter::errorWithLocalizedDescription(const std::string& text) const {
    return CVError::withLocalizedDescription(text);
}

bool CVCLIInterpreter::isCorvaneRunningAtPath(const std::string& path) {
    for (const auto& application : CVRunningApplication::runningApplications()) {
        if (application.bundlePath() != path) {
            continue;
        }
        bool isRequiredVersion = isRequiredVersionOfCorvaneAtPath(path, nullptr);
        bool isActuallyRunning = application.processIdentifier() != -1;
        bool isFinishedLaunching = application.isFinishedLaunching();
        CVDebugLog([&] {
            return std::string("Corvane isRequiredVersion: ") + yesOrNo(isRequiredVersion) +
                   " isActuallyRunning: " + yesOrNo(isActuallyRunning) +
                   " isFinishedLaunching: " + yesOrNo(isFinishedLaunching);
        });
        if (isRequiredVersion && isActuallyRunning && isFinishedLaunching) {
            return true;
        }
    }
    CVDebugLog([&] { return path + " is not in runningApplications"; });
    return false;
}

bool CVCLIInterpreter::launchCorvaneIfNecessary() {
    bool isRunning = false;
    auto path = locateCorvaneApplication(&isRunning);
    if (!path) {
        setInterpretError(errorWithLocalizedDescription("Could not connect to Corvane."));
        return false;
    }
    if (isRunning || isCorvaneRunningAtPath(*path)) {
        return true;
    }
    if (CVSessionBus::shared() == nullptr) {
        // Without a bus the application could neither announce its launch nor be reached.
        setInterpretError(errorWithLocalizedDescription("Could not connect to Corvane."));
        return false;
    }

    // Registered before the launch, so that an application quicker than us is still heard.
    CVDistributedNotificationWaiter waiter(
        kLaunchWait, 0, CVCorvaneContract::kDidFinishLaunchingNotification, std::nullopt);
    // The launch never substitutes a copy running from another place: it starts the bundle's own
    // executable. Its completion runs before openApplicationAtURL returns, which stands in for
    // blocking on a semaphore until the completion has signalled.
    bool launched = false;
    CVWorkspace::openApplicationAtURL(
        *path, {{CVCorvaneContract::kLaunchedFromToolVariable, "1"}},
        [&](const std::optional<CVRunningApplication>& application,
            const std::optional<CVError>& error) {
            if (application) {
                CVDebugLog([&] {
                    return "Tried to start " + fileURLDescription(*path, true) + " -> " +
                           (application->bundlePath()
                                ? fileURLDescription(*application->bundlePath(), true)
                                : std::string("(null)"));
                });
            } else {
                setInterpretError(error);
            }
            launched = application.has_value();
        });
    if (!launched) {
        return false;
    }
    if (!waiter.runRunLoopUntilNotificationsReceived()) {
        setInterpretError(errorWithLocalizedDescription(waiter.cancelReason().value_or("")));
        return false;
    }
    return true;
}
