#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/CVError.h"
#include "platform/CVRunningApplication.h"

// Finding the one installed copy of Corvane the tool may talk to. Errors made here carry the
// candidate bundle path under kCorvaneErrorBundlePathKey beside the message.

inline constexpr const char* kCorvaneErrorBundlePathKey = "CorvaneErrorBundlePath";

// Whether the bundle at the path is a build this tool accepts: the tool's own bundle identifier,
// or a CVDiffBundleVersion equal to the tool's build or from 150 up to it. An unreadable bundle is
// refused without an error; a refused build sets the error (when asked for).
bool isRequiredVersionOfCorvaneAtPath(const std::string& path, std::optional<CVError>* error);

// The path when its bundle is accepted and not in the trash; nothing (with the reason when there
// is one) otherwise.
std::optional<std::string> usableCorvaneAtPath(const std::optional<std::string>& path,
                                               std::optional<CVError>* error);

// The bundle path to use: the copy that ran last time, a running copy, the bundle hosting this
// tool when it was started through a link, the desktop-entry lookup, then /Applications and
// ~/Applications. Sets *isRunning (when given) to true only for a running copy. On failure prints
// the reasons on standard error and gives nothing. May update "LastKnownCVPID". Gives also (when
// asked) the running copy that was found.
std::optional<std::string> locateCorvaneApplication(
    bool* isRunning, std::optional<CVRunningApplication>* runningApplication = nullptr);

namespace CVApplicationLocator {

// The platform's integerValue of a string: leading blanks, an optional sign, then digits (clamped
// to the range of long); anything else, or no string, is 0.
long integerValue(const std::optional<std::string>& text);

// The bundle folder when the resolved tool path ends in Contents/MacOS/cvdiff; else nothing.
std::optional<std::string> hostingBundleOfResolvedToolPath(const std::string& resolvedPath);

// The report of a failed search, as printed on standard error: one error per distinct bundle path
// (the first), in the order they were met.
std::string reportForErrors(const std::vector<CVError>& errors);

}  // namespace CVApplicationLocator
