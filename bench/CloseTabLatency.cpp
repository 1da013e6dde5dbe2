// How soon a waiting tool exits once its tab's CVCloseTabNotification is posted: starts
// `cvdiff -w LEFT RIGHT` ROUNDS times against a running Corvane, reads the document's GUID from
// Corvane's journal ($CORVANE_JOURNAL), posts the notification itself and times until the tool
// has exited. Prints the median and the largest latency.
// usage: close_tab_latency TOOL LEFT RIGHT ROUNDS
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "link/CVDistributedNotificationCenter.h"
#include "platform/CVCorvaneContract.h"

namespace {

using Clock = std::chrono::steady_clock;

std::vector<std::string> repliedGUIDs(const std::string& journal) {
    std::vector<std::string> guids;
    std::ifstream stream(journal);
    std::string line;
    const std::string key = R"("reply":")";
    while (std::getline(stream, line)) {
        size_t at = line.find(key);
        if (at != std::string::npos) {
            size_t start = at + key.size();
            guids.push_back(line.substr(start, line.find('"', start) - start));
        }
    }
    return guids;
}

}  // namespace

int main(int argc, char** argv) {
    const char* journal = getenv("CORVANE_JOURNAL");
    if (argc != 5 || journal == nullptr) {
        fprintf(stderr, "usage: CORVANE_JOURNAL=... %s TOOL LEFT RIGHT ROUNDS\n", argv[0]);
        return 2;
    }
    sd_bus* bus = nullptr;
    if (sd_bus_open_user(&bus) < 0) {
        fprintf(stderr, "no session bus\n");
        return 1;
    }
    int rounds = atoi(argv[4]);
    std::vector<double> latencies;
    for (int round = 0; round < rounds; ++round) {
        size_t before = repliedGUIDs(journal).size();
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        char waitOption[] = "-w";
        char* toolArguments[] = {argv[1], waitOption, argv[2], argv[3], nullptr};
        pid_t tool = -1;
        if (posix_spawn(&tool, argv[1], &actions, nullptr, toolArguments, environ) != 0) {
            return 1;
        }
        posix_spawn_file_actions_destroy(&actions);
        std::vector<std::string> guids;
        for (auto deadline = Clock::now() + std::chrono::seconds(10);
             (guids = repliedGUIDs(journal)).size() <= before && Clock::now() < deadline;) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        if (guids.size() <= before) {
            fprintf(stderr, "the document did not open\n");
            return 1;
        }
        // The tool registers for the notification before it sends: once the reply is in the
        // journal, it listens.
        auto start = Clock::now();
        CVDistributedNotificationCenter::postNotification(
            bus, CVCorvaneContract::kCloseTabNotification, guids.back(), {});
        sd_bus_flush(bus);
        int status = 0;
        waitpid(tool, &status, 0);
        latencies.push_back(
            std::chrono::duration<double, std::milli>(Clock::now() - start).count());
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
            fprintf(stderr, "the tool ended with status %d\n", status);
            return 1;
        }
    }
    std::sort(latencies.begin(), latencies.end());
    printf("close-tab notification to tool exit: median %.3f ms, largest %.3f ms (%d rounds)\n",
           latencies[latencies.size() / 2], latencies.back(), rounds);
    sd_bus_flush_close_unref(bus);
    return 0;
}
