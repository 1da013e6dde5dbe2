#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>

// A private dbus-daemon for this test process, started on first use and made the process's
// session bus (DBUS_SESSION_BUS_ADDRESS), so that it must be used before anything opens the
// shared connection. Ended with the process.
class CVPrivateSessionBus {
public:
    static CVPrivateSessionBus& shared() {
        static CVPrivateSessionBus bus;
        return bus;
    }

    const std::string& address() const { return address_; }

    // Ends the daemon at once, as a crash would.
    void kill() {
        if (daemon_ > 0) {
            ::kill(daemon_, SIGKILL);
            waitpid(daemon_, nullptr, 0);
            daemon_ = -1;
        }
    }

    // A connection of its own, for playing the application's side. Unreference when done.
    sd_bus* openConnection() const {
        sd_bus* bus = nullptr;
        if (sd_bus_new(&bus) < 0 || sd_bus_set_address(bus, address_.c_str()) < 0 ||
            sd_bus_set_bus_client(bus, 1) < 0 || sd_bus_start(bus) < 0) {
            throw std::runtime_error("cannot connect to the private bus");
        }
        return bus;
    }

    ~CVPrivateSessionBus() { kill(); }

private:
    CVPrivateSessionBus() {
        int addressPipe[2];
        if (pipe(addressPipe) != 0) {
            throw std::runtime_error("pipe");
        }
        daemon_ = fork();
        if (daemon_ == 0) {
            dup2(addressPipe[1], 3);
            // Its notices (such as a refused fd limit) are not the test's output.
            int quiet = open("/dev/null", O_WRONLY);
            dup2(quiet, 2);
            execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--nopidfile",
                   "--print-address=3", static_cast<char*>(nullptr));
            _exit(127);
        }
        close(addressPipe[1]);
        char buffer[512];
        ssize_t length = 0;
        // The daemon prints its address once it listens.
        while (length < static_cast<ssize_t>(sizeof buffer) - 1) {
            ssize_t count = read(addressPipe[0], buffer + length, sizeof buffer - 1 - length);
            if (count <= 0) {
                break;
            }
            length += count;
            if (buffer[length - 1] == '\n') {
                break;
            }
        }
        close(addressPipe[0]);
        address_.assign(buffer, length > 0 ? length - 1 : 0);
        if (address_.empty()) {
            throw std::runtime_error("dbus-daemon did not start");
        }
        setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
    }

    pid_t daemon_ = -1;
    std::string address_;
};

// The calling thread's kernel thread identifier.
inline pid_t CVCurrentThreadIdentifier() {
    return static_cast<pid_t>(syscall(SYS_gettid));
}

// Waits, up to ten seconds, until the thread sleeps in epoll, as a waiting run loop does.
// Answers whether it did.
inline bool CVWaitUntilThreadSleepsInEpoll(pid_t thread) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    std::string path = "/proc/self/task/" + std::to_string(thread) + "/wchan";
    while (std::chrono::steady_clock::now() < deadline) {
        std::ifstream file(path);
        std::string channel;
        std::getline(file, channel);
        if (channel == "do_epoll_wait") {
            return true;
        }
        std::this_thread::yield();
    }
    return false;
}
