#pragma once

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "CVWaitUntil.h"
#include "TemporaryFolder.h"
#include "platform/CVSubprocess.h"

// The built process_test_helper.
inline std::string processTestHelperPath() {
    return PROCESS_TEST_HELPER_PATH;
}

// A tree of processes started from process_test_helper (or any program), in a process group of
// its own that is killed when the object goes away.
class TestProcess {
public:
    // Starts the program at path with exactly these arguments and environment entries.
    TestProcess(const std::string& path, const std::vector<std::string>& arguments,
                const std::vector<std::string>& environment) {
        std::string whyNot;
        child_ = CVSubprocess::start({.arguments = arguments,
                                      .program = path,
                                      .environment = environment,
                                      .standardOutput = CVChildOutput::toFile(output_ / "out"),
                                      .ownProcessGroup = true},
                                     &whyNot);
        if (!child_) {
            throw std::runtime_error("cannot start " + path + ": " + whyNot);
        }
    }

    pid_t pid() const { return child_->processID(); }
    // The identifier the helper at the end of the tree reports; waits up to ten seconds, -1 when
    // none came.
    pid_t reportedPid() {
        std::string line;
        bool reported = CVWaitUntil([&] {
            line = readFile(output_ / "out");
            return line.find('\n') != std::string::npos;
        });
        return reported ? static_cast<pid_t>(std::stol(line)) : -1;
    }
    // Waits up to thirty seconds for the started process to exit; its exit status, or -1.
    int waitForExit() {
        CVSubprocessResult result = child_->finish(std::chrono::seconds(30));
        return result.timedOut || result.status >= 128 ? -1 : result.status;
    }
    // Kills the whole group and reaps the started process.
    void stop() { child_->finish(std::chrono::milliseconds(0)); }

private:
    TemporaryFolder output_;
    std::unique_ptr<CVSubprocess> child_;
};
