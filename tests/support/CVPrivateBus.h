#pragma once

#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>

#include "platform/CVSessionBus.h"
#include "platform/CVSubprocess.h"

// A private dbus-daemon with a session bus's policy (anyone may own any name, send anything and
// eavesdrop), listening on <folder>/bus, in a process group of its own. Its messages are at most
// kLargestMessage bytes, far below a desktop's bus, so that a message too large for the bus is
// cheap to make. Its configuration (bus.conf, which names the folder on its command line) and
// its notices (bus.log) lie beside the socket. Without a folder it makes a temporary one,
// removed with it. Header-only (it needs just cv_platform), so that programs without the test
// support library can use it too.
class CVPrivateBus {
public:
    static constexpr size_t kLargestMessage = size_t(4) << 20;

    // Returns once the daemon listens; throws std::runtime_error when it does not come up.
    explicit CVPrivateBus(const std::string& folder = "")
        : ownsFolder_(folder.empty()), folder_(ownsFolder_ ? temporaryFolder() : folder) {
        address_ = "unix:path=" + folder_ + "/bus";
        std::string configuration = "--config-file=" + folder_ + "/bus.conf";
        std::string log = folder_ + "/bus.log";
        std::ofstream(folder_ + "/bus.conf")
            << "<busconfig><type>session</type><listen>" << address_
            << "</listen><auth>EXTERNAL</auth><limit name=\"max_message_size\">" << kLargestMessage
            << "</limit><policy context=\"default\">"
               "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
               "<allow own=\"*\"/></policy></busconfig>\n";
        std::string addressFile = folder_ + "/address";
        std::string whyNot;
        daemon_ = CVSubprocess::start(
            {.arguments = {"dbus-daemon", configuration, "--nofork", "--print-address"},
             .standardOutput = CVChildOutput::toFile(addressFile),
             .standardError = CVChildOutput::toFile(log),
             .ownProcessGroup = true},
            &whyNot);
        if (!daemon_) {
            throw std::runtime_error("the private dbus-daemon could not be started: " + whyNot);
        }
        // The daemon prints its address once it listens.
        while (readAll(addressFile).find('\n') == std::string::npos) {
            if (!daemon_->isRunning()) {
                throw std::runtime_error("the private dbus-daemon did not start: " + readAll(log));
            }
            usleep(1000);
        }
    }
    ~CVPrivateBus() {
        kill();
        if (ownsFolder_) {
            std::error_code ignored;
            std::filesystem::remove_all(folder_, ignored);
        }
    }
    CVPrivateBus(const CVPrivateBus&) = delete;
    CVPrivateBus& operator=(const CVPrivateBus&) = delete;

    const std::string& address() const { return address_; }

    // Makes it this process's session bus (DBUS_SESSION_BUS_ADDRESS).
    void makeSessionBus() const { setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1); }

    // Ends the daemon at once, as a crash would.
    void kill() { daemon_.reset(); }

    // A connection of its own, for playing the application's side.
    CVBusObject<sd_bus> openConnection() const {
        CVBusObject<sd_bus> bus = CVSessionBus::connect(address_);
        if (!bus) {
            throw std::runtime_error("cannot connect to " + address_);
        }
        return bus;
    }

private:
    static std::string readAll(const std::string& path) {
        std::ostringstream text;
        text << std::ifstream(path).rdbuf();
        return text.str();
    }

    static std::string temporaryFolder() {
        const char* base = getenv("TMPDIR");
        std::string pattern =
            std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/cvdiff-bus-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("mkdtemp failed for " + pattern);
        }
        return pattern;
    }

    bool ownsFolder_;
    std::string folder_;
    std::string address_;
    std::unique_ptr<CVSubprocess> daemon_;
};
