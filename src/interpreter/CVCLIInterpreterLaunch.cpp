// CVCLIInterpreter: reaching the application (the error constructor, whether a copy is running,
// and launching one).

#include "interpreter/CVCLIInterpreter.h"
#include "link/CVApplicationLocator.h"
#include "link/CVDistributedNotificationWaiter.h"
#include "platform/CVCorvaneContract.h"
#include "platform/CVPaths.h"
#include "platform/CVPrint.h"
#include "platform/CVRunLoop.h"
#include "platform/CVRunningApplication.h"
#include "platform/CVSessionBus.h"
#include "platform/CVWorkspace.h"
#include "process/ZPProcessInformation.h"

namespace {

constexpr double kLaunchWait = 60.0;
// How often a launch checks that the copy it started still runs.
constexpr double kLaunchedProcessPollInterval = 0.05;

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

std::unique_ptr<CVBusNameQuestion> CVCLIInterpreter::askWhoOwnsCorvane() {
    return std::make_unique<CVBusNameQuestion>(CVSessionBus::shared(),
                                               CVCorvaneContract::kApplicationBundleIdentifier,
                                               CVBusNameQuestion::Kind::ownerProcessIdentifier);
}

bool CVCLIInterpreter::launchCorvaneIfNecessary() {
    // Asked before the application is looked for (early in the run, for its first check): the
    // bus answers while the process table is read. A later check asks again.
    std::unique_ptr<CVBusNameQuestion> owner =
        corvaneOwnerQuestion_ ? std::move(corvaneOwnerQuestion_) : askWhoOwnsCorvane();
    bool isRunning = false;
    std::optional<CVRunningApplication> found;
    auto path = locateCorvaneApplication(&isRunning, &found);
    if (!path) {
        setInterpretError(errorWithLocalizedDescription("Could not connect to Corvane."));
        return false;
    }
    // Running means owning the application's name on this bus. A copy found in the process
    // table that does not (one still starting, or one left on an older bus at the same socket
    // path) cannot be reached yet: the launch below and its wait take care of it.
    if (isRunning) {
        // Found running already: asking the bus who owns the name spares a scan of every process,
        // and the copy just found needs no second look when it is the owner.
        std::optional<pid_t> ownerProcess = owner->ownerProcessIdentifier();
        if (found && ownerProcess == found->processIdentifier()) {
            return true;
        }
        auto application = CVRunningApplication::applicationOwningName(*owner);
        if (application && application->bundlePath() == *path) {
            return true;
        }
    } else if (isCorvaneRunningAtPath(*path)) {
        return true;
    }
    sd_bus* bus = CVSessionBus::shared();
    if (bus == nullptr) {
        // Without a bus the application could neither announce its launch nor be reached.
        setInterpretError(errorWithLocalizedDescription("Could not connect to Corvane."));
        return false;
    }

    // Listen first, then check, then launch: neither the launch notification nor the name's
    // new owner can slip by, however many runs start the application at the same moment.
    CVDistributedNotificationWaiter waiter(
        kLaunchWait, 0, CVCorvaneContract::kDidFinishLaunchingNotification, std::nullopt);
    CVBusNameOwnerWatch ownerWatch(bus, CVCorvaneContract::kApplicationBundleIdentifier,
                                   [&waiter](const std::string&, const std::string& newOwner) {
                                       if (!newOwner.empty()) {
                                           waiter.stopRunLoop();
                                       }
                                   });
    if (CVSessionBus::ownerOfName(bus, CVCorvaneContract::kApplicationBundleIdentifier)) {
        return true;
    }

    // The launch never substitutes a copy running from another place: it starts the bundle's own
    // executable. Its completion runs before openApplicationAtURL returns, which stands in for
    // blocking on a semaphore until the completion has signalled.
    std::optional<int32_t> launchedProcess;
    CVWorkspace::openApplicationAtURL(
        *path, {{CVCorvaneContract::kLaunchedFromToolVariable, "1"}},
        [&](const std::optional<CVRunningApplication>& application,
            const std::optional<CVError>& error) {
            if (application) {
                CVDebugLog([&] {
                    return "Tried to start " + CVPaths::fileURLDescription(*path, true) + " -> " +
                           (application->bundlePath()
                                ? CVPaths::fileURLDescription(*application->bundlePath(), true)
                                : std::string("(null)"));
                });
                launchedProcess = application->processIdentifier();
            } else {
                setInterpretError(error);
            }
        });
    if (!launchedProcess) {
        return false;
    }
    // The copy started here may end before it owns the names: it failed, or it found another
    // copy already starting (which then finishes the launch). Only the first ends the wait at once.
    CVRunLoopTimer launchedProcessPoll(*CVRunLoop::current(), kLaunchedProcessPollInterval, [&] {
        if (ZPProcessInformation::processInformationWithProcessIdentifier(*launchedProcess)
                ->isRunning() ||
            CVSessionBus::ownerOfName(bus, CVCorvaneContract::kDistributedObjectsConnectionName) ||
            CVSessionBus::ownerOfName(bus, CVCorvaneContract::kApplicationBundleIdentifier)) {
            return;
        }
        CVDebugLog([&] {
            return "Corvane (process " + std::to_string(*launchedProcess) +
                   ") ended before it finished launching";
        });
        waiter.cancelRunLoopWithReason(CVBlockingObserver::kTimedOutReason);
    });
    if (!waiter.runRunLoopUntilNotificationsReceived()) {
        setInterpretError(errorWithLocalizedDescription(waiter.cancelReason().value_or("")));
        return false;
    }
    return true;
}
