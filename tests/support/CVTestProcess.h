#pragma once

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/CVSubprocess.h"

// What a finished command left behind.
struct CVCommandResult {
    // The exit status; 128 + the signal's number when a signal ended it; -1 while it still ran.
    int status = -1;
    std::string standardOutput;
    std::string standardError;
    // The deadline passed before the command ended (it has been killed by then).
    bool timedOut = false;
};

// Changes to an environment ("NAME=value" each): a value sets the variable, nothing removes it.
using CVEnvironmentChanges = std::vector<std::pair<std::string, std::optional<std::string>>>;

// The environment with the changes made; with no environment given, this process's own.
std::vector<std::string> CVEnvironmentWithChanges(const std::vector<std::string>& environment,
                                                  const CVEnvironmentChanges& changes);
std::vector<std::string> CVEnvironmentWithChanges(const CVEnvironmentChanges& changes);

// How to run a command.
struct CVRunOptions {
    // Written to the command through a pipe, which is then closed. Nothing: /dev/null.
    std::optional<std::string> standardInput = std::nullopt;
    // The working directory (also its PWD); nothing: the bed's work folder.
    std::optional<std::string> workingDirectory = std::nullopt;
    // Changes to the environment.
    CVEnvironmentChanges environment = {};
    // How long run() waits, and how long wait() waits by default.
    std::chrono::milliseconds deadline{30000};
};

// A command started in the background, in a process group of its own. Its output goes to files,
// so it never blocks on a full pipe. Destruction kills its process group if it still runs.
class CVTestProcess {
public:
    // Starts the command (argument 0 is the program's path) with exactly the given environment.
    // On exec failure the process exits with status 127 and says why on standard error.
    CVTestProcess(const std::vector<std::string>& command,
                  const std::vector<std::string>& environment, const std::string& workingDirectory,
                  const std::optional<std::string>& standardInput, const std::string& outputFolder);
    ~CVTestProcess();
    CVTestProcess(const CVTestProcess&) = delete;
    CVTestProcess& operator=(const CVTestProcess&) = delete;

    pid_t processID() const;
    bool isRunning();
    // Waits until the process ends and answers its result. When the deadline passes first the
    // process group is killed and the result says timedOut.
    CVCommandResult wait(std::chrono::milliseconds deadline = std::chrono::seconds(30));
    // Sends the signal to the process group.
    void signal(int number);
    // What the process has written to its standard output so far.
    std::string standardOutputSoFar() const;

private:
    std::unique_ptr<CVSubprocess> child_;
    // The status of a command that could not be started (127).
    std::optional<int> status_;
    std::string outputPath_;
    std::string errorPath_;
    std::thread inputWriter_;
};

// Runs the command to its end, feeding standard input and collecting both outputs through pipes.
// When the deadline passes the process group is killed and the result says timedOut.
CVCommandResult CVRunCommand(const std::vector<std::string>& command,
                             const std::vector<std::string>& environment,
                             const std::string& workingDirectory,
                             const std::optional<std::string>& standardInput,
                             std::chrono::milliseconds deadline);
