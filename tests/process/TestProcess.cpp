#include "TestProcess.h"

#include <chrono>

#include "CVWaitUntil.h"

TestProcess::TestProcess(const std::string& path, const std::vector<std::string>& arguments,
                         const std::vector<std::string>& environment) {
    std::string whyNot;
    child_ = CVSubprocess::start({.arguments = arguments,
                                  .program = path,
                                  .environment = environment,
                                  .standardOutput = CVChildOutput::toFile(output_.path() + "/out"),
                                  .ownProcessGroup = true},
                                 &whyNot);
    if (!child_) {
        throw std::runtime_error("cannot start " + path + ": " + whyNot);
    }
}

pid_t TestProcess::reportedPid() {
    std::string line;
    bool reported = CVWaitUntil(
        [&] {
            line = readFile(output_.path() + "/out");
            return line.find('\n') != std::string::npos;
        },
        std::chrono::seconds(10));
    return reported ? static_cast<pid_t>(std::stol(line)) : -1;
}

int TestProcess::waitForExit() {
    CVSubprocessResult result = child_->finish(std::chrono::seconds(30));
    return result.timedOut || result.status >= 128 ? -1 : result.status;
}

void TestProcess::stop() {
    child_->finish(std::chrono::milliseconds(0));
}

std::string processTestHelperPath() {
    return PROCESS_TEST_HELPER_PATH;
}
