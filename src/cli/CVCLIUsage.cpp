#include "cli/CVCLIUsage.h"

#include <string_view>
#include <vector>

#include "platform/CVCorvaneContract.h"

namespace {

// How an absent value shows inside a formatted text.
std::string orNull(const std::optional<std::string>& value) {
    return value.value_or("(null)");
}

// The platform's newline characters: line breaks, including the Unicode ones, in UTF-8.
constexpr std::string_view kNewlines[] = {"\n",       "\r",           "\v",          "\f",
                                          "\xC2\x85", "\xE2\x80\xA8", "\xE2\x80\xA9"};

// Removes newline characters from both ends.
std::string trimmingNewlines(std::string_view text) {
    bool trimmed = true;
    while (trimmed) {
        trimmed = false;
        for (std::string_view newline : kNewlines) {
            if (text.starts_with(newline)) {
                text.remove_prefix(newline.size());
                trimmed = true;
            }
            if (text.ends_with(newline)) {
                text.remove_suffix(newline.size());
                trimmed = true;
            }
        }
    }
    return std::string(text);
}

// Raw text; the first line break only opens the literal.
constexpr std::string_view kUsage =
    R"(
usage: cvdiff - send files to Corvane
  --version                             show version information and exit
  -h, --help                            show this help message and exit

COMMON COMMAND OPTIONS
  [-w, --wait | -W, --no-wait]          whether to wait for the document to be
                                        closed in Corvane before exiting
                                        the implied default varies per command
  [-l, --label LABEL]                   use LABEL as the visible label for the 
                                        tab in Corvane, instead of the 
                                        default value, which is inferred from
                                        the arguments passed to cvdiff’s parent
                                        process
  --no-stdin                            never read stdin even if we receive an
                                        open pipe - needed for some host apps
                                        e.g. JetBrains products
FILE OPTIONS
  [-s, --snapshot | -S, --no-snapshot]  whether the file is temporary. this
                                        option will override the heuristics
                                        Corvane would otherwise use to
                                        determine this state.

COMMANDS
 [--diff]              send files to open  ---------------------------( diff )--
                                        default if no other command given
                                        implies --no-wait

    FILE [opt] [...]                    the files to diff, '-' represents stdin
                                        stdin will be prepended to the file list
                                        if no '-' is provided.


 --partial-changeset   send part of a changeset  --------( partial-changeset )--
                                        implies --no-wait

    [--UUID UUID]                       use UUID to select which document to
                                        add this changeset item to; follow this
                                        with --mark-changeset-as-closed UUID
                                        to tell Corvane that no more
                                        changes are expected. if unspecified,
                                        Corvane will watch the process
                                        calling cvdiff and close the changeset
                                        when it exits.
    [--relative-path PATH]              use PATH to describe the filename and
                                        location for this changeset item within
                                        its root (e.g. a source repository)
    FILE [opts] FILE [opts]             the files to diff

 --mark-changeset-as-closed UUID        marks the partial changeset submitted
                                        under the given UUID as being closed


 --changeset           send a complete changeset  ---------------( changeset )--
                                        implies --no-wait
    --filelist                          begin a file list (changeset item)
      [--relative-path PATH]            use PATH to describe the filename and
                                        location for this changeset item within
                                        its root (e.g. a source repository)
      FILE [opts] FILE [opts]           the files to diff


 --merge               send a merge   -------------------------------( merge )--
                                        implies --wait
    --output OUTPUT                     use OUTPUT as the destination path for
                                        this merge. creates OUTPUT if it does
                                        not exist.
    [--base BASE]                       use BASE as the base content for this
                                        merge. can improve the quality of the
                                        default selections for some merges.
    FILE [opts] FILE [opts]             the files to merge
)";

}  // namespace

namespace CVCLIUsage {

std::string usageString() {
    return std::string(kUsage.substr(1));
}

std::string onelineUsageString(const std::string& processName) {
    return "usage: " + processName +
           " [--version] [--wait] [--label <label>] FILE [opt] [FILE [opt]...]\n";
}

std::string shortUsageString(const std::string& processName) {
    return onelineUsageString(processName) + "try " + processName +
           " --help for more information.\n";
}

std::string versionString(const std::optional<std::string>& shortVersion,
                          const std::optional<std::string>& version) {
    return orNull(shortVersion) + " (" + orNull(version) + ")\n";
}

std::string shortVersionString() {
    return std::string(kShortVersion) + " (" + CVCorvaneContract::kToolBuildNumber + ")\n";
}

std::string debugVersionString(const std::string& versionString,
                               const std::optional<std::string>& bundleIdentifier,
                               const std::optional<std::string>& applicationPath,
                               const std::optional<std::string>& applicationShortVersion,
                               const std::optional<std::string>& applicationVersion,
                               bool applicationInfoFound) {
    std::vector<std::string> lines;
    lines.push_back("cvdiff version: " + trimmingNewlines(versionString));
    lines.push_back("Bundle identifier: " + orNull(bundleIdentifier));
    if (applicationInfoFound) {
        lines.push_back("Corvane version: " + orNull(applicationShortVersion) + " (" +
                        orNull(applicationVersion) + ")");
        lines.push_back("Corvane at: '" + orNull(applicationPath) + "'");
    } else {
        lines.emplace_back("Corvane version: NOT FOUND");
    }
    lines.push_back("To enable debug logging do this in Terminal:\ndefaults write " +
                    orNull(bundleIdentifier) + " debug-logging -bool YES");
    // The empty last line makes the joined text end with a line feed.
    lines.emplace_back();

    std::string text;
    for (std::size_t index = 0; index < lines.size(); ++index) {
        if (index != 0) {
            text += '\n';
        }
        text += lines[index];
    }
    return text;
}

}  // namespace CVCLIUsage
