#pragma once

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "CVBusConnection.h"
#include "CVPrivateBus.h"
#include "CVTestProcess.h"
#include "CVWaitUntil.h"
#include "TemporaryFolder.h"

// The tool's short usage, which follows every error it reports on standard error.
inline const std::string kCVShortUsage =
    "usage: cvdiff [--version] [--wait] [--label <label>] FILE [opt] [FILE [opt]...]\n"
    "try cvdiff --help for more information.\n";

// Who commits in the tests' repositories, for git, Mercurial and Breezy, and no system-wide git
// configuration.
inline const CVEnvironmentChanges kCVVersionControlIdentity = {
    {"GIT_CONFIG_NOSYSTEM", "1"},
    {"GIT_AUTHOR_NAME", "Test"},
    {"GIT_AUTHOR_EMAIL", "test@example.invalid"},
    {"GIT_COMMITTER_NAME", "Test"},
    {"GIT_COMMITTER_EMAIL", "test@example.invalid"},
    {"HGUSER", "Test <test@example.invalid>"},
    {"BRZ_EMAIL", "Test <test@example.invalid>"}};

// A private desktop session for process-level tests: its own dbus-daemon on a socket in a
// temporary folder, a temporary home with the XDG folders, and the built Corvane.app registered
// through its desktop entry. Commands run in a scrubbed environment that points at all of it.
// Destruction ends every process the bed started and every process that uses its bus (the
// application the tool launched included), then removes the folder.
//
// Layout under root(): bus (socket; see CVPrivateBus), config/ (XDG_CONFIG_HOME), data/
// (XDG_DATA_HOME, with applications/com.corvane.Corvane.desktop), share/ (XDG_DATA_DIRS), runtime/
// (XDG_RUNTIME_DIR), tmp/ (TMPDIR), home/ (HOME), work/ (the default working directory) and
// journal.jsonl (the application's journal, CORVANE_JOURNAL).
class CVTestBed {
public:
    // Starts the bus; throws std::runtime_error when the daemon does not come up. The build
    // folder is the one holding Corvane.app.
    explicit CVTestBed(std::string buildDirectory = CVDIFF_BINARY_DIR);
    ~CVTestBed();
    CVTestBed(const CVTestBed&) = delete;
    CVTestBed& operator=(const CVTestBed&) = delete;

    const std::string& root() const { return root_.path(); }
    std::string workDirectory() const { return root_ / "work"; }
    std::string dataHome() const { return root_ / "data"; }
    std::string temporaryDirectory() const { return root_ / "tmp"; }
    std::string journalPath() const { return root_ / "journal.jsonl"; }
    const std::string& busAddress() const { return daemon_->address(); }
    std::string bundlePath() const { return buildDirectory_ + "/Corvane.app"; }
    std::string toolPath() const { return bundlePath() + "/Contents/MacOS/cvdiff"; }
    std::string applicationPath() const { return bundlePath() + "/Contents/MacOS/Corvane"; }

    // The commands' environment, "NAME=value" each.
    const std::vector<std::string>& environment() const { return environment_; }
    // Changes the environment of every later command.
    void setEnvironment(const CVEnvironmentChanges& changes);

    // Runs a command (argument 0 is a path, or a name searched in PATH) to its end.
    CVCommandResult run(const std::vector<std::string>& command, const CVRunOptions& options = {});
    // Runs the built cvdiff with the arguments.
    CVCommandResult runTool(const std::vector<std::string>& arguments,
                            const CVRunOptions& options = {});
    // Runs the built defaults program ("write DOMAIN KEY -bool YES", "read DOMAIN KEY").
    CVCommandResult runDefaults(const std::vector<std::string>& arguments);
    // Runs the built Corvane with the arguments: "--list", "--close-tab GUID", "--quit"...
    CVCommandResult runApplication(const std::vector<std::string>& arguments,
                                   const CVRunOptions& options = {});
    // Starts a command in the background; the bed ends it at the latest on destruction.
    std::shared_ptr<CVTestProcess> start(const std::vector<std::string>& command,
                                         const CVRunOptions& options = {});
    std::shared_ptr<CVTestProcess> startTool(const std::vector<std::string>& arguments,
                                             const CVRunOptions& options = {});

    // Starts Corvane (with the bed's journal) and waits until it owns its names; null when it
    // did not within the deadline.
    std::shared_ptr<CVTestProcess> startApplication(
        std::chrono::milliseconds deadline = std::chrono::seconds(10));
    // Whether something owns com.corvane.Corvane on the bed's bus.
    bool isApplicationRunning();
    // The process that owns com.corvane.Corvane.
    std::optional<pid_t> applicationProcessID();

    // The control front: Corvane --list (the JSON on standard output), --close-tab,
    // --finish-merge, --quit.
    CVCommandResult listDocuments();
    // The documents Corvane has open, read from --list (an empty array while it is not running).
    nlohmann::json documents();
    // Waits until the newest document has the members (as waitForJournalEntry compares them)
    // and is not the one with the GUID `other`; answers it, or null at the deadline.
    nlohmann::json waitForNewestDocument(
        const nlohmann::json& members = nlohmann::json::object(), const std::string& other = "",
        std::chrono::milliseconds deadline = std::chrono::seconds(30));
    // The GUIDs Corvane answered for invocations, oldest first, from its journal.
    std::vector<std::string> answeredGUIDs() const;
    // The value of `key` in every file list of the documents, in order ("files" gives arrays).
    static std::vector<nlohmann::json> fileListValues(const nlohmann::json& documents,
                                                      const std::string& key);
    CVCommandResult closeTab(const std::string& GUID);
    // result: "" (the left side), "right", "base" or a file's path; unused when unresolved.
    CVCommandResult finishMerge(const std::string& GUID, bool resolved,
                                const std::string& result = "");
    CVCommandResult quitApplication();

    // The journal's whole lines, each with its line feed; journalEntries() the same read as JSON
    // objects, oldest first.
    std::string journal() const;
    std::vector<nlohmann::json> journalEntries() const;
    // Waits until an entry has the members, each with its value (an object's value compared
    // member by member: {"document":{"kind":"diff"}}); answers the first such entry, or nothing
    // at the deadline.
    std::optional<nlohmann::json> waitForJournalEntry(
        const nlohmann::json& members,
        std::chrono::milliseconds deadline = std::chrono::seconds(10)) const;
    // Whether the value has the members, as waitForJournalEntry compares them.
    static bool hasMembers(const nlohmann::json& value, const nlohmann::json& members);

    // Ends the bed's bus at once, as a crash of the daemon would.
    void killBus() { daemon_->kill(); }

    // The bed's own connection to its bus (made on first use).
    CVBusConnection& bus();
    // A new connection to the bed's bus.
    std::unique_ptr<CVBusConnection> connect() const;

    // The process is gone, or a zombie that only waits for its parent to collect it.
    static bool processHasEnded(pid_t pid);

private:
    void endProcessesOfTheBus();

    std::string buildDirectory_;
    TemporaryFolder root_;
    std::unique_ptr<CVPrivateBus> daemon_;
    std::vector<std::string> environment_;
    std::vector<std::shared_ptr<CVTestProcess>> started_;
    std::unique_ptr<CVBusConnection> bus_;
};
