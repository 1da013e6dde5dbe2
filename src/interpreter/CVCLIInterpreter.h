#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "cli/CVCLIArgumentParser.h"
#include "cli/CVCLIArgumentParserDelegate.h"
#include "link/CVCLIProxyProtocol.h"
#include "platform/CVError.h"

class ZPProcessInformation;
class CVCLISerializedDiffInvocation;
class CVPackedInvocationWriter;
class CVCLISerializedFile;
class CVCLISerializedFileList;
class CVDistributedNotificationWaiter;

// Drives one run of the tool: classifies the caller, captures standard input, parses the
// arguments, builds and sends the invocation, and turns the run's state into a result, an error
// and an exit code. One interpreter serves one run. Its parts live in several files, each
// CVCLIInterpreter<Part>.cpp: the run and the informational commands (no part), ParentProcess (who
// called), Capture (standard input and descriptor paths), Invocations (document commands),
// Adapters (fixed calling conventions), Sandbox (file-access grants), Launch (finding and
// starting Corvane), Send (the call and the wait) and Coordinated (changesets' items and git's
// summary).
class CVCLIInterpreter : public CVCLIArgumentParserDelegate {
public:
    CVCLIInterpreter();
    ~CVCLIInterpreter() override;

    // Runs the arguments (the program path first). Returns the text for standard output, or
    // nothing on failure, when the error out-parameter receives `interpretError` (which may be
    // absent: a grammar error is reported through the short usage alone). May block while it
    // waits for the application.
    std::optional<std::string> interpretArguments(const std::vector<std::string>& arguments,
                                                  std::optional<CVError>* error);

    int32_t exitCode() const { return exitCode_; }
    void setExitCode(int32_t code) { exitCode_ = code; }
    const std::optional<CVError>& interpretError() const { return interpretError_; }
    void setInterpretError(std::optional<CVError> error) { interpretError_ = std::move(error); }
    const std::optional<std::string>& resultString() const { return resultString_; }
    const std::string& programPath() const { return programPath_; }
    CVCLIArgumentParser* parser() const { return parser_.get(); }
    const std::vector<CVFileDictionary>& files() const { return files_; }

    // Texts.
    std::string usageString() const;
    std::string onelineUsageString() const;
    std::string shortUsageString() const;
    std::string versionString() const;
    std::string debugVersionString() const;

    // Who called (computed once, then cached).
    std::shared_ptr<ZPProcessInformation> significantParentProcess();
    // The first version control client among `process` and its ancestors.
    static std::shared_ptr<ZPProcessInformation> findVCSParentProcess(
        std::shared_ptr<ZPProcessInformation> process);
    void scanParentProcesses();
    void logInfoForProcess(ZPProcessInformation& process);
    static bool processIsGit(ZPProcessInformation& process);
    static bool processIsSubversion(ZPProcessInformation& process);
    static bool processIsPerforceCLI(ZPProcessInformation& process);
    static bool processIsBazaar(ZPProcessInformation& process);
    static bool processIsMercurial(ZPProcessInformation& process);
    static bool processIsVCS(ZPProcessInformation& process);
    bool parentIsGit();
    bool parentIsSubversion();
    bool parentIsBazaar();
    bool parentIsPerforceCLI();
    bool parentIsQuorvel();
    bool parentIsJetBrains();
    bool parentIsGitKraken();
    bool parentCannotHandleStandardInput();

    // Fixed calling conventions of Subversion, Bazaar and Perforce.
    bool parseSubversionArguments(const std::vector<std::string>& arguments,
                                  std::optional<CVError>* error);
    bool parseBazaarArguments(const std::vector<std::string>& arguments,
                              std::optional<CVError>* error);
    bool parsePerforceArguments(const std::vector<std::string>& arguments,
                                std::optional<CVError>* error);

    // Capture of standard input and descriptor paths into private temporary files.
    std::vector<CVFileDictionary> readFileDescriptorPathsIntoTempFiles(
        const std::vector<CVFileDictionary>& files);
    std::optional<CVFileDictionary> tempFileFromFileDescriptorPath(const std::string& path);
    // Reads the descriptor to its end (blocking) and does not close it.
    std::optional<CVFileDictionary> tempFileFromFileDescriptor(int fileDescriptor);
    std::optional<std::string> readFileDescriptorPathIntoTempFile(int fileDescriptor);

    // Building invocations.
    static std::set<std::string> supportedCapabilities();
    std::shared_ptr<CVCLISerializedDiffInvocation> createInvocationWithParentProcess();
    std::shared_ptr<CVCLISerializedFile> serializedFileWithFile(const CVFileDictionary& file);
    std::shared_ptr<CVCLISerializedFileList> fileListWithFiles(
        const std::vector<CVFileDictionary>& files, const std::optional<std::string>& label,
        const std::optional<std::string>& relativePath);
    void sendPartialChangesetInvocationWithSummary(const std::string& summary);

    // Reaching the application.
    CVError errorWithLocalizedDescription(const std::string& text) const;
    bool isCorvaneRunningAtPath(const std::string& path);
    // Asks the bus who owns Corvane's name; answered when read.
    static std::unique_ptr<CVBusNameQuestion> askWhoOwnsCorvane();
    bool launchCorvaneIfNecessary();
    std::shared_ptr<CVCLIProxyProtocol> createProxyForCorvane();
    // Pairs the folders of every item into the changeset, or, once the items outgrow an ordinary
    // message, into a packed stream the application reads while the pairing goes on; false with
    // interpretError set when that fails.
    bool addItemsToChangeset(const std::vector<CVFileListDictionary>& fileLists,
                             CVCLISerializedDiffInvocation& invocation);
    // Where an invocation goes: the application's proxy, the waiter when the command waits, and
    // the call of an invocation that is being streamed.
    struct Delivery {
        std::shared_ptr<CVCLIProxyProtocol> proxy;
        std::shared_ptr<CVDistributedNotificationWaiter> waiter;
        std::unique_ptr<CVCLIProxyProtocol::PendingDocument> streamedCall;
    };
    // Reaches the application for the invocation: its proxy and, when the command waits, the
    // waiter, registered before anything is sent. Nothing, with the error recorded, when the
    // application cannot be reached.
    std::optional<Delivery> openDelivery(const CVCLISerializedDiffInvocation& invocation);
    // Starts streaming the invocation, whose changeset's lists follow: reaches the application
    // and sends the call that the stream's end will answer.
    bool beginStreamingInvocation(const CVCLISerializedDiffInvocation& invocation);
    std::shared_ptr<CVDistributedNotificationWaiter> sendDocumentInvocation(
        const std::shared_ptr<CVCLISerializedDiffInvocation>& invocation);
    void sendUncoordinatedDocumentInvocation(
        const std::shared_ptr<CVCLISerializedDiffInvocation>& invocation);
    void sendCoordinatedDocumentInvocation(
        const std::shared_ptr<CVCLISerializedDiffInvocation>& invocation);
    void sendAuthorizationRequest();
    // Inside an app sandbox: obtains the user's grant of file access, asking the application
    // once; a second refusal ends the process with status 1 (CVCLIInterpreterSandbox.cpp).
    void obtainSandboxFileAccess();
    // Inside an app sandbox, the shell's "PWD" becomes the working directory when it differs.
    void adoptSandboxWorkingDirectory();
    void wait(bool shouldWait, const std::shared_ptr<CVDistributedNotificationWaiter>& observer);

    // CVCLIArgumentParserDelegate.
    void parserDidParseVersionCommand(CVCLIArgumentParser* parser) override;
    void parserDidParseShortVersionCommand(CVCLIArgumentParser* parser) override;
    void parserDidParseDebugVersionCommand(CVCLIArgumentParser* parser) override;
    void parserDidParseHelpCommand(CVCLIArgumentParser* parser) override;
    void parserDidParseResetFileAccessCommand(CVCLIArgumentParser* parser) override;
    void parserDidParseCrashCommand(CVCLIArgumentParser* parser) override;
    void parserDidParseDiffCommand(CVCLIArgumentParser* parser, bool shouldWait,
                                   const std::optional<std::string>& label,
                                   const std::vector<CVFileDictionary>& files) override;
    void parserDidParseMergeCommand(CVCLIArgumentParser* parser, const std::string& outputPath,
                                    const std::optional<std::string>& commonBaseFile,
                                    bool shouldWait,
                                    const std::vector<CVFileDictionary>& files) override;
    void parserDidParseChangesetCommand(
        CVCLIArgumentParser* parser, const std::optional<std::string>& label, bool shouldWait,
        const std::vector<CVFileListDictionary>& fileLists) override;
    void parserDidParsePartialChangesetCommand(CVCLIArgumentParser* parser,
                                               const std::optional<std::string>& UUID,
                                               const std::optional<std::string>& label,
                                               const std::optional<std::string>& relativePath,
                                               bool shouldWait,
                                               const std::vector<CVFileDictionary>& files) override;
    void parserDidParseMarkChangesetAsClosedCommand(CVCLIArgumentParser* parser,
                                                    const std::string& UUID) override;

private:
    // The git difftool summary: runs git once more with --name-status before the first item.
    void sendGitDifftoolSummaryIfNeeded(const std::vector<std::string>& arguments);
    void removeTemporaryFiles();
    // After a send: the copies the invocation carried are the application's from now on.
    void handOverCopies();

    int32_t exitCode_ = 0;
    std::optional<CVError> interpretError_;
    std::optional<std::string> resultString_;
    std::string programPath_;
    std::unique_ptr<CVCLIArgumentParser> parser_;
    std::vector<CVFileDictionary> files_;
    // A standard-input snapshot handed to the parser; removed at the end when no command used it.
    std::optional<CVFileDictionary> unclaimedStandardInput_;
    std::string workingDirectory_;
    bool didComputeSignificantParent_ = false;
    std::shared_ptr<ZPProcessInformation> significantParentProcess_;
    // A changeset too large for one message, streamed packed while it is paired, and where it
    // goes; sent in place of the invocation's own coding.
    std::unique_ptr<CVPackedInvocationWriter> packedInvocation_;
    std::optional<Delivery> streamedDelivery_;
    // Who owns Corvane's name, asked early in the run for the first launch check, which takes it.
    std::unique_ptr<CVBusNameQuestion> corvaneOwnerQuestion_;
};
