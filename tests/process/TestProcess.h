#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "TemporaryFolder.h"
#include "platform/CVSubprocess.h"

// A tree of processes started from process_test_helper (or any program), in a process group of
// its own that is killed when the object goes away.
class TestProcess {
public:
    // Starts the program at path with exactly these arguments and environment entries.
    TestProcess(const std::string& path, const std::vector<std::string>& arguments,
                const std::vector<std::string>& environment);
    ~TestProcess() = default;
    TestProcess(const TestProcess&) = delete;
    TestProcess& operator=(const TestProcess&) = delete;

    pid_t pid() const { return child_->processID(); }
    // The identifier the helper at the end of the tree reports; waits up to ten seconds, -1 when
    // none came.
    pid_t reportedPid();
    // Waits up to thirty seconds for the started process to exit; its exit status, or -1.
    int waitForExit();
    // Kills the whole group and reaps the started process.
    void stop();

private:
    TemporaryFolder output_;
    std::unique_ptr<CVSubprocess> child_;
};

// The built process_test_helper.
std::string processTestHelperPath();
