#include "CVTestProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "TemporaryFolder.h"

namespace {

using Clock = std::chrono::steady_clock;

int remainingMilliseconds(Clock::time_point deadline) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    return left.count() < 0 ? 0 : static_cast<int>(left.count());
}

// A null-terminated array of C strings over the texts, made before fork (the child must not
// allocate).
std::vector<char*> cStrings(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (const std::string& text : texts) {
        pointers.push_back(const_cast<char*>(text.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

void writeText(int descriptor, const char* text) {
    ssize_t ignored = write(descriptor, text, strlen(text));
    (void)ignored;
}

// Forks and executes the command in a new process group with the given standard streams.
pid_t spawn(const std::vector<std::string>& command, const std::vector<std::string>& environment,
            const std::string& workingDirectory, int input, int output, int error) {
    if (command.empty()) {
        throw std::invalid_argument("an empty command");
    }
    std::vector<char*> argv = cStrings(command);
    std::string pwd = "PWD=" + workingDirectory;
    std::vector<std::string> fullEnvironment = environment;
    fullEnvironment.push_back(pwd);
    std::vector<char*> envp = cStrings(fullEnvironment);
    pid_t child = fork();
    if (child < 0) {
        throw std::runtime_error(std::string("fork failed: ") + strerror(errno));
    }
    if (child == 0) {
        setpgid(0, 0);
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        signal(SIGPIPE, SIG_DFL);
        dup2(input, STDIN_FILENO);
        dup2(output, STDOUT_FILENO);
        dup2(error, STDERR_FILENO);
        if (chdir(workingDirectory.c_str()) != 0) {
            writeText(STDERR_FILENO, "test bed: cannot change to the working directory\n");
            _exit(127);
        }
        execvpe(argv[0], argv.data(), envp.data());
        writeText(STDERR_FILENO, "test bed: cannot execute ");
        writeText(STDERR_FILENO, argv[0]);
        writeText(STDERR_FILENO, "\n");
        _exit(127);
    }
    // Also from the parent, so that a kill of the group cannot come before the child's setpgid.
    setpgid(child, child);
    return child;
}

int statusFromWait(int waitStatus) {
    if (WIFEXITED(waitStatus)) {
        return WEXITSTATUS(waitStatus);
    }
    return 128 + (WIFSIGNALED(waitStatus) ? WTERMSIG(waitStatus) : 0);
}

int openPidDescriptor(pid_t pid) {
    return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
}

void killGroup(pid_t group) {
    if (group > 0) {
        kill(-group, SIGKILL);
    }
}

}  // namespace

std::vector<std::string> CVEnvironmentWithChanges(const std::vector<std::string>& environment,
                                                  const CVEnvironmentChanges& changes) {
    std::vector<std::string> changed = environment;
    for (const auto& [name, value] : changes) {
        std::erase_if(changed,
                      [&](const std::string& entry) { return entry.starts_with(name + "="); });
        if (value) {
            changed.push_back(name + "=" + *value);
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
    int output = open(outputPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    int error = open(errorPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    int inputPipe[2] = {-1, -1};
    int input = -1;
    if (standardInput) {
        if (pipe2(inputPipe, O_CLOEXEC) != 0) {
            throw std::runtime_error("pipe failed");
        }
        input = inputPipe[0];
    } else {
        input = open("/dev/null", O_RDONLY | O_CLOEXEC);
    }
    processID_ = spawn(command, environment, workingDirectory, input, output, error);
    pidDescriptor_ = openPidDescriptor(processID_);
    close(input);
    close(output);
    close(error);
    if (standardInput) {
        // A thread, so that input larger than a pipe's buffer cannot block the test.
        int writeEnd = inputPipe[1];
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
    if (!status_) {
        killGroup(processID_);
        reap(true);
    }
    if (inputWriter_.joinable()) {
        inputWriter_.join();
    }
    if (pidDescriptor_ >= 0) {
        close(pidDescriptor_);
    }
}

bool CVTestProcess::reap(bool block) {
    if (status_) {
        return true;
    }
    int waitStatus = 0;
    pid_t result = waitpid(processID_, &waitStatus, block ? 0 : WNOHANG);
    if (result == processID_) {
        status_ = statusFromWait(waitStatus);
        return true;
    }
    return false;
}

bool CVTestProcess::isRunning() {
    return !reap(false);
}

void CVTestProcess::signal(int number) {
    if (!status_) {
        kill(-processID_, number);
    }
}

CVCommandResult CVTestProcess::wait(std::chrono::milliseconds deadline) {
    CVCommandResult result;
    auto end = Clock::now() + deadline;
    while (!reap(false)) {
        int left = remainingMilliseconds(end);
        if (left == 0) {
            killGroup(processID_);
            reap(true);
            result.timedOut = true;
            break;
        }
        pollfd exited{pidDescriptor_, POLLIN, 0};
        poll(&exited, pidDescriptor_ >= 0 ? 1 : 0, pidDescriptor_ >= 0 ? left : std::min(left, 10));
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
    signal(SIGPIPE, SIG_IGN);
    int outputPipe[2];
    int errorPipe[2];
    int inputPipe[2] = {-1, -1};
    if (pipe2(outputPipe, O_CLOEXEC) != 0 || pipe2(errorPipe, O_CLOEXEC) != 0 ||
        (standardInput && pipe2(inputPipe, O_CLOEXEC) != 0)) {
        throw std::runtime_error("pipe failed");
    }
    int input = standardInput ? inputPipe[0] : open("/dev/null", O_RDONLY | O_CLOEXEC);
    pid_t child = spawn(command, environment, workingDirectory, input, outputPipe[1], errorPipe[1]);
    int pidDescriptor = openPidDescriptor(child);
    close(input);
    close(outputPipe[1]);
    close(errorPipe[1]);
    int inputEnd = -1;
    if (standardInput) {
        inputEnd = inputPipe[1];
        fcntl(inputEnd, F_SETFL, O_NONBLOCK);
        if (standardInput->empty()) {
            close(inputEnd);
            inputEnd = -1;
        }
    }

    CVCommandResult result;
    auto end = Clock::now() + deadline;
    int outputEnd = outputPipe[0];
    int errorEnd = errorPipe[0];
    size_t inputDone = 0;
    std::optional<int> waitStatus;
    // Until the child has ended and both pipes are at their end (or the deadline passes).
    while (!waitStatus || outputEnd >= 0 || errorEnd >= 0) {
        int left = remainingMilliseconds(end);
        if (left == 0) {
            result.timedOut = true;
            killGroup(child);
            break;
        }
        pollfd descriptors[4];
        int count = 0;
        auto add = [&](int descriptor, short events) {
            if (descriptor >= 0) {
                descriptors[count++] = {descriptor, events, 0};
            }
        };
        add(outputEnd, POLLIN);
        add(errorEnd, POLLIN);
        add(inputEnd, POLLOUT);
        add(waitStatus ? -1 : pidDescriptor, POLLIN);
        if (poll(descriptors, static_cast<nfds_t>(count), waitStatus ? left : std::min(left, 50)) <
                0 &&
            errno != EINTR) {
            break;
        }
        for (int index = 0; index < count; ++index) {
            int descriptor = descriptors[index].fd;
            if (descriptors[index].revents == 0) {
                continue;
            }
            if (descriptor == outputEnd || descriptor == errorEnd) {
                char buffer[65536];
                ssize_t got = read(descriptor, buffer, sizeof buffer);
                if (got > 0) {
                    (descriptor == outputEnd ? result.standardOutput : result.standardError)
                        .append(buffer, static_cast<size_t>(got));
                } else if (got == 0 || errno != EINTR) {
                    close(descriptor);
                    (descriptor == outputEnd ? outputEnd : errorEnd) = -1;
                }
            } else if (descriptor == inputEnd) {
                ssize_t written = write(inputEnd, standardInput->data() + inputDone,
                                        standardInput->size() - inputDone);
                if (written > 0) {
                    inputDone += static_cast<size_t>(written);
                }
                if ((written < 0 && errno != EAGAIN) || inputDone == standardInput->size()) {
                    close(inputEnd);
                    inputEnd = -1;
                }
            }
        }
        if (!waitStatus) {
            int status = 0;
            if (waitpid(child, &status, WNOHANG) == child) {
                waitStatus = statusFromWait(status);
                if (inputEnd >= 0) {
                    close(inputEnd);
                    inputEnd = -1;
                }
            }
        }
    }
    for (int descriptor : {outputEnd, errorEnd, inputEnd, pidDescriptor}) {
        if (descriptor >= 0) {
            close(descriptor);
        }
    }
    if (!waitStatus) {
        int status = 0;
        waitpid(child, &status, 0);
        waitStatus = statusFromWait(status);
    }
    result.status = *waitStatus;
    return result;
}
