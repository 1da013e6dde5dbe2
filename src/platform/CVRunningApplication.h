#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/CVSessionBus.h"

// A running application: a process of this user and of this session whose executable is the main
// executable (CFBundleExecutable) in a bundle's Contents/MacOS/ folder. "Of this session" means
// that the session bus named by the process's own environment is the same socket as this process's.
class CVRunningApplication {
public:
    CVRunningApplication(int32_t processIdentifier, std::optional<std::string> bundlePath,
                         std::optional<std::string> bundleIdentifier);

    // The running applications, in process-table order. Reads /proc; never blocks for long.
    static std::vector<CVRunningApplication> runningApplications();
    // The same tests applied to one process; nothing when it is not a running application.
    static std::optional<CVRunningApplication> runningApplicationWithProcessIdentifier(
        int32_t processIdentifier);

    // The running application that owns a well-known name of the session bus, from the answer to
    // an ownerProcessIdentifier question about it: one process looked at, no scan. Nothing when no
    // application owns it.
    static std::optional<CVRunningApplication> applicationOwningName(CVBusNameQuestion& owner);

    int32_t processIdentifier() const { return processIdentifier_; }
    const std::optional<std::string>& bundlePath() const { return bundlePath_; }
    // The bundle's CFBundleIdentifier; nothing when its Info.plist has none.
    const std::optional<std::string>& bundleIdentifier() const { return bundleIdentifier_; }
    // Whether the process owns its bundle identifier as a name on the session bus (the desktop
    // convention for single-instance applications). Asks the bus each time; false without one.
    bool isFinishedLaunching() const;

private:
    int32_t processIdentifier_;
    std::optional<std::string> bundlePath_;
    std::optional<std::string> bundleIdentifier_;
};
