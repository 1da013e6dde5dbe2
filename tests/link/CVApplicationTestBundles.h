#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

// Fake application bundles and the processes started from them, for the tests of finding and
// launching the application. The whole test program runs with its own XDG folders (nothing
// touches the real user's) and its own private session bus.

// The folders the test program was given: $XDG_DATA_HOME, and one $XDG_DATA_DIRS folder.
std::string testDataHome();
std::string testDataDirectory();

// Makes a bundle folder with Contents/Info.plist holding the keys that are given, and, when
// `program` is given, a copy of it as Contents/MacOS/<executableName>. Returns the bundle path.
std::string makeBundle(const std::string& bundlePath, const std::optional<std::string>& identifier,
                       const std::optional<std::string>& version,
                       const std::optional<std::string>& program = std::nullopt,
                       const std::string& executableName = "Corvane");

// Writes <identifier>.desktop with the Exec value into <dataFolder>/applications.
void writeDesktopEntry(const std::string& dataFolder, const std::string& identifier,
                       const std::string& exec);

// A child process, killed and reaped when this goes away. Starting it returns once it has
// executed the program.
class ChildProcess {
public:
    ChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                 const std::map<std::string, std::string>& extraEnvironment = {});
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t processIdentifier() const { return processIdentifier_; }

private:
    pid_t processIdentifier_ = -1;
};

// Polls the condition until it holds or the deadline passes; answers whether it held.
bool eventually(const std::function<bool()>& condition,
                std::chrono::milliseconds deadline = std::chrono::seconds(10));
