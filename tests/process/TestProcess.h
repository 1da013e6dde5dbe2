#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

// A tree of processes started from process_test_helper (or any program), in a process group of
// its own that is killed when the object goes away.
class TestProcess {
public:
    // Starts the program at path with exactly these arguments and environment entries.
    TestProcess(const std::string& path, const std::vector<std::string>& arguments,
                const std::vector<std::string>& environment);
    ~TestProcess();
    TestProcess(const TestProcess&) = delete;
    TestProcess& operator=(const TestProcess&) = delete;

    pid_t pid() const { return pid_; }
    // The identifier the helper at the end of the tree reports; waits up to ten seconds, -1 when
    // none came.
    pid_t reportedPid();
    // Waits up to thirty seconds for the started process to exit; its exit status, or -1.
    int waitForExit();
    // Kills the whole group and reaps the started process.
    void stop();

private:
    pid_t pid_ = -1;
    int output_ = -1;
};

// The built process_test_helper.
std::string processTestHelperPath();
