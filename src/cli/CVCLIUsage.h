#pragma once

#include <optional>
#include <string>

#include "platform/CVVersion.h"

// The help, usage and version texts. Absent values print as "(null)".
namespace CVCLIUsage {

// The tool's version, compiled in (the build number is CVCorvaneContract::kToolBuildNumber).
inline constexpr const char* kShortVersion = kCVDiffShortVersion;

// The full help text (70 lines, UTF-8).
std::string usageString();
// "usage: NAME [--version] ... FILE [opt] [FILE [opt]...]\n"; NAME is the process name.
std::string onelineUsageString(const std::string& processName);
// The one-line usage followed by "try NAME --help for more information.\n".
std::string shortUsageString(const std::string& processName);
// "SHORT (VERSION)\n" from the tool's bundle information.
std::string versionString(const std::optional<std::string>& shortVersion,
                          const std::optional<std::string>& version);
// "6.4 (9077)\n", from the compiled-in values whatever the bundle information says.
std::string shortVersionString();
// The --debug-version text: six lines when the application's information was read
// (applicationInfoFound), five otherwise, each ended by a line feed. versionString is the
// output of versionString() (surrounding line breaks are dropped).
std::string debugVersionString(const std::string& versionString,
                               const std::optional<std::string>& bundleIdentifier,
                               const std::optional<std::string>& applicationPath,
                               const std::optional<std::string>& applicationShortVersion,
                               const std::optional<std::string>& applicationVersion,
                               bool applicationInfoFound);

}  // namespace CVCLIUsage
