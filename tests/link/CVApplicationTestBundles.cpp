#include "CVApplicationTestBundles.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <thread>

#include "TemporaryFolder.h"

extern char** environ;

namespace {

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (auto& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

pid_t spawn(const std::string& program, std::vector<std::string> arguments,
            const std::map<std::string, std::string>& extraEnvironment,
            posix_spawn_file_actions_t* actions) {
    std::vector<std::string> environment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        std::string text(*entry);
        if (!extraEnvironment.contains(text.substr(0, text.find('=')))) {
            environment.push_back(text);
        }
    }
    for (const auto& [name, value] : extraEnvironment) {
        environment.push_back(name + "=" + value);
    }
    arguments.insert(arguments.begin(), program);
    auto argumentPointers = pointers(arguments);
    auto environmentPointers = pointers(environment);
    pid_t child = -1;
    if (posix_spawn(&child, program.c_str(), actions, nullptr, argumentPointers.data(),
                    environmentPointers.data()) != 0) {
        throw std::runtime_error("cannot start " + program);
    }
    return child;
}

// Private XDG folders and a private session bus for the whole test program.
class HermeticSession : public testing::Environment {
public:
    void SetUp() override {
        folder_ = std::make_unique<TemporaryFolder>();
        setenv("XDG_CONFIG_HOME", folder_->makeFolder("config").c_str(), 1);
        setenv("XDG_DATA_HOME", folder_->makeFolder("data").c_str(), 1);
        setenv("XDG_DATA_DIRS", folder_->makeFolder("shared").c_str(), 1);
        unsetenv("XDG_RUNTIME_DIR");

        int output[2];
        if (pipe(output) != 0) {
            throw std::runtime_error("pipe failed");
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, output[0]);
        busDaemon_ = spawn(
            "/usr/bin/dbus-daemon",
            {"--session", "--nofork", "--print-address", "--address=unix:path=" + *folder_ / "bus"},
            {}, &actions);
        posix_spawn_file_actions_destroy(&actions);
        close(output[1]);
        // The daemon prints its address once it listens.
        std::string address;
        char character;
        while (read(output[0], &character, 1) == 1 && character != '\n') {
            address += character;
        }
        close(output[0]);
        setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
    }

    void TearDown() override {
        if (busDaemon_ > 0) {
            kill(busDaemon_, SIGTERM);
            waitpid(busDaemon_, nullptr, 0);
        }
        folder_.reset();
    }

private:
    std::unique_ptr<TemporaryFolder> folder_;
    pid_t busDaemon_ = -1;
};

void writeFile(const std::string& path, const std::string& content) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

[[maybe_unused]] testing::Environment* const hermeticSession =
    testing::AddGlobalTestEnvironment(new HermeticSession);

}  // namespace

std::string testDataHome() {
    return getenv("XDG_DATA_HOME");
}

std::string testDataDirectory() {
    return getenv("XDG_DATA_DIRS");
}

std::string makeBundle(const std::string& bundlePath, const std::optional<std::string>& identifier,
                       const std::optional<std::string>& version,
                       const std::optional<std::string>& program,
                       const std::string& executableName) {
    namespace fs = std::filesystem;
    fs::create_directories(bundlePath + "/Contents/MacOS");
    std::string plist =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n"
        "<key>CFBundleExecutable</key><string>" +
        executableName + "</string>\n";
    if (identifier) {
        plist += "<key>CFBundleIdentifier</key><string>" + *identifier + "</string>\n";
    }
    if (version) {
        plist += "<key>CVDiffBundleVersion</key><string>" + *version + "</string>\n";
    }
    plist += "</dict>\n</plist>\n";
    writeFile(bundlePath + "/Contents/Info.plist", plist);
    if (program) {
        fs::copy_file(*program, bundlePath + "/Contents/MacOS/" + executableName,
                      fs::copy_options::overwrite_existing);
    }
    return bundlePath;
}

void writeDesktopEntry(const std::string& dataFolder, const std::string& identifier,
                       const std::string& exec) {
    writeFile(dataFolder + "/applications/" + identifier + ".desktop",
              "[Desktop Entry]\nType=Application\nName=Corvane\nExec=" + exec +
                  "\n\n[Desktop Action New]\nExec=/bin/false\n");
}

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                           const std::map<std::string, std::string>& extraEnvironment)
    : processIdentifier_(spawn(program, arguments, extraEnvironment, nullptr)) {
    // posix_spawn returns while the kernel still sets up the new image; until it is done the
    // process shows an empty environment, and so belongs to no session.
    std::string environment = "/proc/" + std::to_string(processIdentifier_) + "/environ";
    if (!eventually([&] { return !readFile(environment).empty(); })) {
        throw std::runtime_error("the child never finished executing " + program);
    }
}

ChildProcess::~ChildProcess() {
    kill(processIdentifier_, SIGKILL);
    waitpid(processIdentifier_, nullptr, 0);
}

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds deadline) {
    auto end = std::chrono::steady_clock::now() + deadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}
