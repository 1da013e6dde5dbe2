#include "platform/CVSubprocess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

using Clock = std::chrono::steady_clock;

std::vector<char*> nullTerminated(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (const std::string& text : texts) {
        // posix_spawn takes char* const[] but never writes through them.
        pointers.push_back(
            const_cast<char*>(text.c_str()));  // NOLINT(cppcoreguidelines-pro-type-const-cast)
    }
    pointers.push_back(nullptr);
    return pointers;
}

void closeDescriptor(int& descriptor) {
    if (descriptor >= 0) {
        close(descriptor);
        descriptor = -1;
    }
}

int statusFromWait(int waitStatus) {
    if (WIFEXITED(waitStatus)) {
        return WEXITSTATUS(waitStatus);
    }
    return 128 + (WIFSIGNALED(waitStatus) ? WTERMSIG(waitStatus) : 0);
}

// write(), except that a reader that went away is an EPIPE error rather than a SIGPIPE that would
// end this process: the signal is blocked on this thread for the write and taken back if raised.
ssize_t writeWithoutSignal(int descriptor, const char* bytes, size_t count) {
    sigset_t pipeSignal{};
    sigset_t previous{};
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeSignal, &previous);
    sigset_t pendingBefore;
    sigpending(&pendingBefore);
    ssize_t written = write(descriptor, bytes, count);
    int error = errno;
    if (written < 0 && error == EPIPE && !sigismember(&pendingBefore, SIGPIPE)) {
        timespec now{};
        sigtimedwait(&pipeSignal, nullptr, &now);
    }
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    errno = error;
    return written;
}

// The argument vector, environment and spawn settings of one child, made before it starts.
class SpawnPlan {
public:
    explicit SpawnPlan(const CVSubprocessOptions& options)
        : program_(options.program ? *options.program
                                   : (options.arguments.empty() ? "" : options.arguments[0])),
          arguments_(nullTerminated(options.arguments)) {
        if (options.environment) {
            environment_ = nullTerminated(*options.environment);
        }
        posix_spawn_file_actions_init(&actions_);
        posix_spawnattr_init(&attributes_);
        // A child starts with nothing blocked and every signal at its default action.
        sigset_t signals;
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&attributes_, &signals);
        sigfillset(&signals);
        posix_spawnattr_setsigdefault(&attributes_, &signals);
        flags_ = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
        if (options.ownProcessGroup) {
            flags_ |= POSIX_SPAWN_SETPGROUP;
            posix_spawnattr_setpgroup(&attributes_, 0);
        }
        if (options.workingDirectory) {
            posix_spawn_file_actions_addchdir_np(&actions_, options.workingDirectory->c_str());
        }
    }
    ~SpawnPlan() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;

    // The child's descriptor `target` is `descriptor` of this process.
    void connect(int descriptor, int target) {
        posix_spawn_file_actions_adddup2(&actions_, descriptor, target);
    }
    void openNullDevice(int target) {
        posix_spawn_file_actions_addopen(&actions_, target, "/dev/null",
                                         target == STDIN_FILENO ? O_RDONLY : O_WRONLY, 0);
    }
    // A session of its own in the root folder, holding no descriptor past its standard streams.
    void detach() {
        flags_ |= POSIX_SPAWN_SETSID;
        posix_spawn_file_actions_addchdir_np(&actions_, "/");
        posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
    }

    // 0, or the errno of the failure (also of executing the program).
    int spawn(pid_t* child) {
        if (program_.empty()) {
            return ENOENT;
        }
        posix_spawnattr_setflags(&attributes_, flags_);
        char** environment = environment_.empty() ? environ : environment_.data();
        bool searched = program_.find('/') == std::string::npos;
        return searched ? posix_spawnp(child, program_.c_str(), &actions_, &attributes_,
                                       arguments_.data(), environment)
                        : posix_spawn(child, program_.c_str(), &actions_, &attributes_,
                                      arguments_.data(), environment);
    }

private:
    std::string program_;
    std::vector<char*> arguments_;
    std::vector<char*> environment_;
    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
    short flags_ = 0;
};

// Connects one output stream: answers the parent's reading end for a capture (-1 otherwise), and
// in `opened` a descriptor to close once the child runs.
int connectOutput(SpawnPlan& plan, const CVChildOutput& output, int target, int& opened,
                  int& failure) {
    switch (output.kind) {
        case CVChildOutput::Kind::inherit:
            return -1;
        case CVChildOutput::Kind::discard:
            plan.openNullDevice(target);
            return -1;
        case CVChildOutput::Kind::file:
            opened = open(output.path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
            if (opened < 0) {
                failure = errno;
                return -1;
            }
            plan.connect(opened, target);
            return -1;
        case CVChildOutput::Kind::capture: {
            int ends[2];
            if (pipe2(ends, O_CLOEXEC) != 0) {
                failure = errno;
                return -1;
            }
            plan.connect(ends[1], target);
            opened = ends[1];
            return ends[0];
        }
    }
    return -1;
}

}  // namespace

std::unique_ptr<CVSubprocess> CVSubprocess::start(const CVSubprocessOptions& options,
                                                  std::string* whyNot) {
    std::unique_ptr<CVSubprocess> child(new CVSubprocess());
    child->ownProcessGroup_ = options.ownProcessGroup;
    SpawnPlan plan(options);
    int failure = 0;
    int childInput = -1;
    if (options.standardInput) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) {
            failure = errno;
        } else {
            childInput = ends[0];
            child->inputDescriptor_ = ends[1];
            child->input_ = *options.standardInput;
            plan.connect(childInput, STDIN_FILENO);
        }
    } else {
        plan.openNullDevice(STDIN_FILENO);
    }
    int childOutput = -1;
    int childError = -1;
    child->outputDescriptor_ =
        connectOutput(plan, options.standardOutput, STDOUT_FILENO, childOutput, failure);
    child->errorDescriptor_ =
        connectOutput(plan, options.standardError, STDERR_FILENO, childError, failure);
    if (failure == 0) {
        failure = plan.spawn(&child->processID_);
    }
    closeDescriptor(childInput);
    closeDescriptor(childOutput);
    closeDescriptor(childError);
    if (failure != 0) {
        if (whyNot != nullptr) {
            *whyNot = strerror(failure);
        }
        child->processID_ = -1;
        return nullptr;
    }
    child->exitedDescriptor_ = static_cast<int>(syscall(SYS_pidfd_open, child->processID_, 0));
    return child;
}

CVSubprocess::~CVSubprocess() {
    if (processID_ > 0 && !status_) {
        kill();
        reap(true);
    }
    for (int* descriptor :
         {&exitedDescriptor_, &inputDescriptor_, &outputDescriptor_, &errorDescriptor_}) {
        closeDescriptor(*descriptor);
    }
}

bool CVSubprocess::reap(bool block) {
    if (status_) {
        return true;
    }
    int waitStatus = 0;
    pid_t result = 0;
    while ((result = waitpid(processID_, &waitStatus, block ? 0 : WNOHANG)) < 0 && errno == EINTR) {
    }
    if (result == processID_) {
        status_ = statusFromWait(waitStatus);
        closeDescriptor(exitedDescriptor_);
        return true;
    }
    return false;
}

void CVSubprocess::kill() {
    ::kill(ownProcessGroup_ ? -processID_ : processID_, SIGKILL);
}

int CVSubprocess::takeInputDescriptor() {
    int descriptor = inputDescriptor_;
    inputDescriptor_ = -1;
    return descriptor;
}

bool CVSubprocess::isRunning() {
    return !reap(false);
}

void CVSubprocess::signal(int number) {
    if (!status_) {
        ::kill(ownProcessGroup_ ? -processID_ : processID_, number);
    }
}

void CVSubprocess::exchange(int timeout, CVSubprocessResult& result) {
    pollfd descriptors[4];
    nfds_t count = 0;
    for (auto [descriptor, events] :
         {std::pair{outputDescriptor_, POLLIN}, std::pair{errorDescriptor_, POLLIN},
          std::pair{inputDescriptor_, POLLOUT}, std::pair{exitedDescriptor_, POLLIN}}) {
        if (descriptor >= 0) {
            descriptors[count++] = {descriptor, static_cast<short>(events), 0};
        }
    }
    if (poll(descriptors, count, timeout) < 0) {
        return;
    }
    for (nfds_t index = 0; index < count; ++index) {
        int descriptor = descriptors[index].fd;
        if (descriptors[index].revents == 0 || descriptor == exitedDescriptor_) {
            continue;
        }
        if (descriptor == inputDescriptor_) {
            ssize_t written = writeWithoutSignal(descriptor, input_.data() + inputWritten_,
                                                 input_.size() - inputWritten_);
            if (written > 0) {
                inputWritten_ += static_cast<size_t>(written);
            }
            if ((written < 0 && errno != EAGAIN && errno != EINTR) ||
                inputWritten_ == input_.size()) {
                closeDescriptor(inputDescriptor_);
            }
            continue;
        }
        char buffer[65536];
        ssize_t got = read(descriptor, buffer, sizeof buffer);
        if (got > 0) {
            (descriptor == outputDescriptor_ ? result.standardOutput : result.standardError)
                .append(buffer, static_cast<size_t>(got));
        } else if (got == 0 || (errno != EINTR && errno != EAGAIN)) {
            closeDescriptor(descriptor == outputDescriptor_ ? outputDescriptor_ : errorDescriptor_);
        }
    }
}

CVSubprocessResult CVSubprocess::finish(std::chrono::milliseconds deadline) {
    CVSubprocessResult result;
    auto end = Clock::now() + std::min(deadline, std::chrono::milliseconds(INT32_MAX));
    if (input_.empty()) {
        closeDescriptor(inputDescriptor_);
    } else if (inputDescriptor_ >= 0) {
        // Written as the child reads, between reads of its output.
        fcntl(inputDescriptor_, F_SETFL, O_NONBLOCK);
    }
    // Until the child has ended and the captured streams are at their ends.
    while (!reap(false) || outputDescriptor_ >= 0 || errorDescriptor_ >= 0) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
        if (left.count() <= 0) {
            result.timedOut = true;
            if (!status_) {
                kill();
                reap(true);
            }
            break;
        }
        // Without a pidfd, the end of the child is noticed by looking again now and then.
        int timeout = static_cast<int>(left.count());
        if (exitedDescriptor_ < 0 && !status_) {
            timeout = std::min(timeout, 10);
        }
        exchange(timeout, result);
        if (status_) {
            // Input nobody will read any more.
            closeDescriptor(inputDescriptor_);
        }
    }
    for (int* descriptor : {&inputDescriptor_, &outputDescriptor_, &errorDescriptor_}) {
        closeDescriptor(*descriptor);
    }
    result.status = status_.value_or(-1);
    return result;
}

std::optional<CVSubprocessResult> CVRunSubprocess(const CVSubprocessOptions& options,
                                                  std::string* whyNot,
                                                  std::chrono::milliseconds deadline) {
    auto child = CVSubprocess::start(options, whyNot);
    if (!child) {
        return std::nullopt;
    }
    return child->finish(deadline);
}

std::optional<pid_t> CVStartDetached(const CVSubprocessOptions& options, int* error) {
    // Everything the intermediate child needs is made before it is forked.
    SpawnPlan plan(options);
    for (int target : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        plan.openNullDevice(target);
    }
    plan.detach();
    int report[2];
    if (pipe2(report, O_CLOEXEC) != 0) {
        *error = errno;
        return std::nullopt;
    }
    // Double fork: the intermediate child starts the program, reports, and exits at once; it is
    // reaped here, and the program is adopted by init.
    pid_t intermediate = fork();
    if (intermediate < 0) {
        *error = errno;
        close(report[0]);
        close(report[1]);
        return std::nullopt;
    }
    if (intermediate == 0) {
        pid_t started = -1;
        int failure = plan.spawn(&started);
        int message[2] = {failure, started};
        ssize_t ignored = write(report[1], message, sizeof message);
        (void)ignored;
        _exit(0);
    }
    close(report[1]);
    while (waitpid(intermediate, nullptr, 0) < 0 && errno == EINTR) {
    }
    int message[2] = {ECHILD, -1};
    ssize_t got = 0;
    while ((got = read(report[0], message, sizeof message)) < 0 && errno == EINTR) {
    }
    close(report[0]);
    if (got != sizeof message || message[0] != 0) {
        *error = got == sizeof message ? message[0] : ECHILD;
        return std::nullopt;
    }
    return static_cast<pid_t>(message[1]);
}
