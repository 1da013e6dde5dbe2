#include "TestProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <stdexcept>

TestProcess::TestProcess(const std::string& path, const std::vector<std::string>& arguments,
                         const std::vector<std::string>& environment) {
    std::vector<char*> argv;
    for (const auto& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    std::vector<char*> envp;
    for (const auto& entry : environment) {
        envp.push_back(const_cast<char*>(entry.c_str()));
    }
    envp.push_back(nullptr);

    int pipeEnds[2];
    if (pipe2(pipeEnds, O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe2 failed");
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDOUT_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attributes, 0);
    int result = posix_spawn(&pid_, path.c_str(), &actions, &attributes, argv.data(), envp.data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    close(pipeEnds[1]);
    output_ = pipeEnds[0];
    if (result != 0) {
        pid_ = -1;
        throw std::runtime_error("posix_spawn of " + path + " failed");
    }
}

TestProcess::~TestProcess() {
    stop();
    close(output_);
}

pid_t TestProcess::reportedPid() {
    using Clock = std::chrono::steady_clock;
    auto deadline = Clock::now() + std::chrono::seconds(10);
    std::string line;
    while (line.find('\n') == std::string::npos) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd descriptor{output_, POLLIN, 0};
        if (left.count() <= 0 || poll(&descriptor, 1, static_cast<int>(left.count())) <= 0) {
            return -1;
        }
        char buffer[64];
        ssize_t count = read(output_, buffer, sizeof buffer);
        if (count <= 0) {
            return -1;
        }
        line.append(buffer, static_cast<size_t>(count));
    }
    return static_cast<pid_t>(std::stol(line));
}

int TestProcess::waitForExit() {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (pid_ > 0 && std::chrono::steady_clock::now() < deadline) {
        int status = 0;
        if (waitpid(pid_, &status, WNOHANG) == pid_) {
            pid_ = -1;
            return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        }
        pollfd none{-1, 0, 0};
        poll(&none, 1, 10);
    }
    return -1;
}

void TestProcess::stop() {
    if (pid_ <= 0) {
        return;
    }
    kill(-pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
}

std::string processTestHelperPath() {
    return PROCESS_TEST_HELPER_PATH;
}
