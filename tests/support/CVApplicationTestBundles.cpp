#include "CVApplicationTestBundles.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "CVPrivateBus.h"

namespace {

// Private XDG folders and a private session bus for the whole test program.
class HermeticSession : public testing::Environment {
public:
    void SetUp() override {
        folder_ = std::make_unique<TemporaryFolder>();
        setenv("XDG_CONFIG_HOME", folder_->makeFolder("config").c_str(), 1);
        setenv("XDG_DATA_HOME", folder_->makeFolder("data").c_str(), 1);
        setenv("XDG_DATA_DIRS", folder_->makeFolder("shared").c_str(), 1);
        unsetenv("XDG_RUNTIME_DIR");
        bus_ = std::make_unique<CVPrivateBus>(folder_->path());
        bus_->makeSessionBus();
    }

    void TearDown() override {
        bus_.reset();
        folder_.reset();
    }

private:
    std::unique_ptr<TemporaryFolder> folder_;
    std::unique_ptr<CVPrivateBus> bus_;
};

[[maybe_unused]] testing::Environment* const hermeticSession =
    testing::AddGlobalTestEnvironment(new HermeticSession);

}  // namespace

std::string testDataHome() {
    return getenv("XDG_DATA_HOME");
}

std::string testDataDirectory() {
    return getenv("XDG_DATA_DIRS");
}

std::unique_ptr<CVTestProcess> startProgram(const TemporaryFolder& folder,
                                            const std::string& program,
                                            const std::vector<std::string>& arguments,
                                            const CVEnvironmentChanges& changes) {
    std::vector<std::string> command = arguments;
    command.insert(command.begin(), program);
    auto process = std::make_unique<CVTestProcess>(command, CVEnvironmentWithChanges(changes),
                                                   folder.path(), std::nullopt, folder.path());
    // Until the forked child has executed the program it is a copy of this test program, and
    // while the kernel still sets up the new image it shows an empty environment.
    std::string proc = "/proc/" + std::to_string(process->processID());
    if (!CVWaitUntil([&] {
            std::error_code error;
            return std::filesystem::read_symlink(proc + "/exe", error) ==
                       std::filesystem::weakly_canonical(program) &&
                   !readFile(proc + "/environ").empty();
        })) {
        throw std::runtime_error("the child never finished executing " + program);
    }
    return process;
}
