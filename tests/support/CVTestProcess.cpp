#include "CVTestProcess.h"

#include <signal.h>
#include <unistd.h>

#include <fstream>

#include "TemporaryFolder.h"

namespace {

// How the bed starts every command: in a process group of its own (so that a kill reaches what it
// started in turn), in its folder, with PWD saying so, as a shell would.
CVSubprocessOptions optionsFor(const std::vector<std::string>& command,
                               const std::vector<std::string>& environment,
                               const std::string& workingDirectory) {
    std::vector<std::string> withFolder = environment;
    withFolder.push_back("PWD=" + workingDirectory);
    return {.arguments = command,
            .environment = withFolder,
            .workingDirectory = workingDirectory,
            .ownProcessGroup = true};
}

std::string cannotExecute(const std::vector<std::string>& command, const std::string& why) {
    return "test bed: cannot execute " + (command.empty() ? "nothing" : command[0]) + ": " + why +
           "\n";
}

}  // namespace

std::vector<std::string> CVEnvironmentWithChanges(const std::vector<std::string>& environment,
                                                  const CVEnvironmentChanges& changes) {
    std::vector<std::string> changed = environment;
    for (const auto& [name, value] : changes) {
        const std::string prefix = name + "=";
        std::erase_if(changed,
                      [&prefix](const std::string& entry) { return entry.starts_with(prefix); });
        if (value) {
            changed.push_back(prefix + *value);
        }
    }
    return changed;
}

std::vector<std::string> CVEnvironmentWithChanges(const CVEnvironmentChanges& changes) {
    std::vector<std::string> own;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        own.emplace_back(*entry);
    }
    return CVEnvironmentWithChanges(own, changes);
}

CVTestProcess::CVTestProcess(const std::vector<std::string>& command,
                             const std::vector<std::string>& environment,
                             const std::string& workingDirectory,
                             const std::optional<std::string>& standardInput,
                             const std::string& outputFolder) {
    static int counter = 0;
    std::string stem =
        outputFolder + "/process-" + std::to_string(getpid()) + "-" + std::to_string(++counter);
    outputPath_ = stem + ".stdout";
    errorPath_ = stem + ".stderr";
    CVSubprocessOptions options = optionsFor(command, environment, workingDirectory);
    // Input goes through a pipe fed by a thread, so that a child that reads it slowly, or not
    // at all, never blocks the test.
    options.standardInput = standardInput ? std::optional<std::string>("") : std::nullopt;
    options.standardOutput = CVChildOutput::toFile(outputPath_);
    options.standardError = CVChildOutput::toFile(errorPath_);
    std::string whyNot;
    child_ = CVSubprocess::start(options, &whyNot);
    if (!child_) {
        std::ofstream(errorPath_) << cannotExecute(command, whyNot);
        std::ofstream(outputPath_).flush();
        status_ = 127;
        return;
    }
    if (standardInput) {
        int writeEnd = child_->takeInputDescriptor();
        inputWriter_ = std::thread([writeEnd, text = *standardInput] {
            ::signal(SIGPIPE, SIG_IGN);
            size_t done = 0;
            while (done < text.size()) {
                ssize_t written = write(writeEnd, text.data() + done, text.size() - done);
                if (written <= 0) {
                    break;
                }
                done += static_cast<size_t>(written);
            }
            close(writeEnd);
        });
    }
}

CVTestProcess::~CVTestProcess() {
    child_.reset();  // kills a group still running
    if (inputWriter_.joinable()) {
        inputWriter_.join();
    }
}

pid_t CVTestProcess::processID() const {
    return child_ ? child_->processID() : -1;
}

bool CVTestProcess::isRunning() {
    return child_ && child_->isRunning();
}

void CVTestProcess::signal(int number) {
    if (child_) {
        child_->signal(number);
    }
}

CVCommandResult CVTestProcess::wait(std::chrono::milliseconds deadline) {
    CVCommandResult result;
    if (child_) {
        CVSubprocessResult ended = child_->finish(deadline);
        status_ = ended.status;
        result.timedOut = ended.timedOut;
    }
    if (inputWriter_.joinable()) {
        inputWriter_.join();
    }
    result.status = *status_;
    result.standardOutput = readFile(outputPath_);
    result.standardError = readFile(errorPath_);
    return result;
}

std::string CVTestProcess::standardOutputSoFar() const {
    return readFile(outputPath_);
}

CVCommandResult CVRunCommand(const std::vector<std::string>& command,
                             const std::vector<std::string>& environment,
                             const std::string& workingDirectory,
                             const std::optional<std::string>& standardInput,
                             std::chrono::milliseconds deadline) {
    CVSubprocessOptions options = optionsFor(command, environment, workingDirectory);
    options.standardInput = standardInput;
    options.standardOutput = CVChildOutput::captured();
    options.standardError = CVChildOutput::captured();
    std::string whyNot;
    std::optional<CVSubprocessResult> ended = CVRunSubprocess(options, &whyNot, deadline);
    if (!ended) {
        return {.status = 127, .standardError = cannotExecute(command, whyNot)};
    }
    return {.status = ended->status,
            .standardOutput = std::move(ended->standardOutput),
            .standardError = std::move(ended->standardError),
            .timedOut = ended->timedOut};
}
