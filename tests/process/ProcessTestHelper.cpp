// A program for tests and benchmarks of process information. The process that ends a chain
// writes its identifier and a newline to standard output and then waits until it is killed.
//   process_test_helper                       report and wait
//   process_test_helper --spawn PATH ARGS...  start PATH with ARGS (ARGS[0] is its argument 0)
//                                             and the same environment, then wait
//   process_test_helper --chain N             a chain of N more copies of itself below this one
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "platform/CVSubprocess.h"

namespace {

[[noreturn]] void startAndWait(const char* path, char* const arguments[]) {
    std::vector<std::string> argumentList;
    for (char* const* argument = arguments; *argument != nullptr; ++argument) {
        argumentList.emplace_back(*argument);
    }
    std::string whyNot;
    if (!CVRunSubprocess({.arguments = argumentList, .program = path}, &whyNot)) {
        fprintf(stderr, "process_test_helper: cannot start %s: %s\n", path, whyNot.c_str());
        exit(2);
    }
    exit(0);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc >= 4 && strcmp(argv[1], "--spawn") == 0) {
        startAndWait(argv[2], argv + 3);
    }
    if (argc == 3 && strcmp(argv[1], "--chain") == 0 && atoi(argv[2]) > 0) {
        std::string remaining = std::to_string(atoi(argv[2]) - 1);
        char* arguments[] = {argv[0], argv[1], remaining.data(), nullptr};
        startAndWait("/proc/self/exe", arguments);
    }
    std::string line = std::to_string(getpid()) + "\n";
    if (write(STDOUT_FILENO, line.data(), line.size()) < 0) {
        return 2;
    }
    for (;;) {
        pause();
    }
}
