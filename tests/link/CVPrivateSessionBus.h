#pragma once

#include <sys/syscall.h>
#include <unistd.h>

#include <fstream>
#include <string>

// Relative, for the benchmarks that include this folder alone.
#include "../support/CVPrivateBus.h"
#include "../support/CVWaitUntil.h"

// The private bus of this test process, started on first use and made its session bus, so that
// it must be used before anything opens the shared connection. Ended with the process.
struct CVPrivateSessionBus {
    static CVPrivateBus& shared() {
        static CVPrivateBus bus;
        static bool madeSessionBus = (bus.makeSessionBus(), true);
        (void)madeSessionBus;
        return bus;
    }
};

// The calling thread's kernel thread identifier.
inline pid_t CVCurrentThreadIdentifier() {
    return static_cast<pid_t>(syscall(SYS_gettid));
}

// Waits, up to ten seconds, until the thread sleeps in epoll, as a waiting run loop does.
// Answers whether it did.
inline bool CVWaitUntilThreadSleepsInEpoll(pid_t thread) {
    std::string path = "/proc/self/task/" + std::to_string(thread) + "/wchan";
    return CVWaitUntil([&] {
        std::ifstream file(path);
        std::string channel;
        return std::getline(file, channel) && channel == "do_epoll_wait";
    });
}
