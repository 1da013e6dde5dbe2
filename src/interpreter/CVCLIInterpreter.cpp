#include "interpreter/CVCLIInterpreter.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "access/CORAppGroup.h"
#include "cli/CVCLIUsage.h"
#include "interpreter/CVToolInfoPlist.h"
#include "link/CVApplicationLocator.h"
#include "model/CVPackedInvocationWriter.h"
#include "platform/CVBundle.h"
#include "platform/CVException.h"
#include "platform/CVPaths.h"
#include "platform/CVPrint.h"
#include "platform/CVProcessName.h"
#include "platform/CVPropertyList.h"
#include "platform/CVSessionBus.h"
#include "platform/CVTemporaryFolder.h"
#include "process/ZPProcessInformation.h"

namespace {

constexpr const char* kNoStandardInputFlag = "--no-stdin";
constexpr unsigned kDebuggerWaitSeconds = 45;

// The tool's own bundle information, parsed once from the copy compiled into the executable.
const CVBundle& toolBundle() {
    static const CVBundle bundle = CVBundle::bundleWithInfoPlistText(embeddedInfoPlist());
    return bundle;
}

bool contains(const std::vector<std::string>& list, const std::string& element) {
    return std::find(list.begin(), list.end(), element) != list.end();
}

// The options that answer at once suppress the wait for a debugger.
bool shouldWaitForDebugger(const std::vector<std::string>& arguments) {
    if (!contains(arguments, "--wait-debugger")) {
        return false;
    }
    return std::ranges::none_of(
        std::initializer_list<const char*>{"--short-version", "--debug-version", "--help", "-h",
                                           "--version", "-v"},
        [&arguments](const char* option) { return contains(arguments, option); });
}

}  // namespace

CVCLIInterpreter::CVCLIInterpreter() = default;
CVCLIInterpreter::~CVCLIInterpreter() = default;

std::optional<std::string> CVCLIInterpreter::interpretArguments(
    const std::vector<std::string>& arguments, std::optional<CVError>* error) {
    exitCode_ = 0;
    interpretError_.reset();
    resultString_.reset();
    files_.clear();
    unclaimedStandardInput_.reset();

    parser_ = std::make_unique<CVCLIArgumentParser>(arguments,
                                                    std::set<std::string>{kNoStandardInputFlag});
    parser_->setDelegate(this);
    programPath_ = parser_->programPath();

    // Nearly every run talks to Corvane: the bus's authentication goes on while the caller and
    // the arguments are worked out.
    CVSessionBus::shared();
    significantParentProcess();
    scanParentProcesses();

    if (shouldWaitForDebugger(arguments)) {
        sleep(kDebuggerWaitSeconds);
    }

    obtainSandboxFileAccess();

    workingDirectory_ = CVPaths::currentDirectory();
    adoptSandboxWorkingDirectory();

    // The launch check's question, asked now that the bus has had time to accept the connection:
    // it goes out with Hello and is answered while the arguments are worked out.
    corvaneOwnerQuestion_ = askWhoOwnsCorvane();

    bool parsed = false;
    std::optional<CVError> parseError;
    if (parentIsGit()) {
        sendGitDifftoolSummaryIfNeeded(arguments);
        parsed = parser_->parseWithError(&parseError);
    } else if (parentIsSubversion()) {
        parsed = parseSubversionArguments(arguments, &parseError);
    } else if (parentIsBazaar()) {
        parsed = parseBazaarArguments(arguments, &parseError);
    } else if (parentIsPerforceCLI()) {
        parsed = parsePerforceArguments(arguments, &parseError);
    } else {
        // The terminal test first: it spares reading the parent's details from /proc.
        if (!parser_->wasGlobalFlagSet(kNoStandardInputFlag) && isatty(STDIN_FILENO) == 0 &&
            !parentCannotHandleStandardInput()) {
            parser_->setStdinTempFileProvider([this] {
                std::optional<CVFileDictionary> snapshot = tempFileFromFileDescriptor(STDIN_FILENO);
                unclaimedStandardInput_ = snapshot;
                return snapshot;
            });
        }
        parsed = parser_->parseWithError(&parseError);
    }

    if (parsed && !interpretError_) {
        if (!resultString_) {
            resultString_ = "";
        }
    } else {
        resultString_.reset();
        if (exitCode_ == 0) {
            exitCode_ = 1;
        }
        // Deliberately replaces the parser's error: a grammar error reaches the user only
        // through the short usage.
        if (error != nullptr) {
            *error = interpretError_;
        }
    }

    removeTemporaryFiles();
    return resultString_;
}

void CVCLIInterpreter::removeTemporaryFiles() {
    for (const CVFileDictionary& file : files_) {
        if (file.deleteOnExit.value_or(false)) {
            CVRemoveItemAndItsReplacementDirectory(file.path);
        }
    }
    // A standard-input snapshot that no command took, or that went nowhere because the run
    // failed, would otherwise stay behind; one sent with another command is the application's.
    if (unclaimedStandardInput_) {
        bool claimed = parser_ && !parser_->stdinTempFile();
        if (!claimed || !resultString_) {
            CVRemoveItemAndItsReplacementDirectory(unclaimedStandardInput_->path);
        }
    }
}

std::string CVCLIInterpreter::usageString() const {
    return CVCLIUsage::usageString();
}

std::string CVCLIInterpreter::onelineUsageString() const {
    return CVCLIUsage::onelineUsageString(CVProcessName());
}

std::string CVCLIInterpreter::shortUsageString() const {
    return CVCLIUsage::shortUsageString(CVProcessName());
}

std::string CVCLIInterpreter::versionString() const {
    const CVBundle& bundle = toolBundle();
    return CVCLIUsage::versionString(
        bundle.objectForInfoDictionaryKey("CFBundleShortVersionString"),
        bundle.objectForInfoDictionaryKey("CFBundleVersion"));
}

std::string CVCLIInterpreter::debugVersionString() const {
    std::optional<std::string> applicationPath = locateCorvaneApplication(nullptr);
    std::optional<std::string> infoPath = CVPaths::pathByExtendingPathWithComponents(
        applicationPath, std::vector<std::string>{"Contents", "Info.plist"});
    CVPlist info;
    struct stat status {};
    if (infoPath && stat(infoPath->c_str(), &status) == 0) {
        info = CVPropertyList::readFile(*infoPath);
        if (info && plist_get_node_type(info.get()) != PLIST_DICT) {
            info.reset();
        }
    }
    auto infoValue = [&](const char* key) -> std::optional<std::string> {
        return info ? CVPropertyList::stringValue(plist_dict_get_item(info.get(), key))
                    : std::nullopt;
    };
    return CVCLIUsage::debugVersionString(versionString(), toolBundle().bundleIdentifier(),
                                          applicationPath, infoValue("CFBundleShortVersionString"),
                                          infoValue("CFBundleVersion"), info != nullptr);
}

void CVCLIInterpreter::parserDidParseVersionCommand(CVCLIArgumentParser*) {
    resultString_ = versionString();
}

void CVCLIInterpreter::parserDidParseShortVersionCommand(CVCLIArgumentParser*) {
    resultString_ = CVCLIUsage::shortVersionString();
}

void CVCLIInterpreter::parserDidParseDebugVersionCommand(CVCLIArgumentParser*) {
    resultString_ = debugVersionString();
}

void CVCLIInterpreter::parserDidParseHelpCommand(CVCLIArgumentParser*) {
    resultString_ = usageString();
}

void CVCLIInterpreter::parserDidParseResetFileAccessCommand(CVCLIArgumentParser*) {
    CORAppGroup::removeSecurityScopedAccessBookmark(CORAppGroup::appGroupUserDefaults());
    CVPrint(stdout, "File access for cvdiff was reset.\n");
    fflush(stdout);
}

void CVCLIInterpreter::parserDidParseCrashCommand(CVCLIArgumentParser*) {
    // Deliberate: the last-resort handler in main reports it and ends the process.
    char reason[96];
    snprintf(reason, sizeof reason,
             "-[CVRunLoop firstObject]: unrecognized selector sent to instance %p",
             static_cast<void*>(this));
    throw CVException(CVException::kInvalidArgumentException, reason);
}
