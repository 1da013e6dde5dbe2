#include "platform/CVRunningApplication.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "CVApplicationTestBundles.h"

namespace {

bool isListed(pid_t processIdentifier) {
    auto applications = CVRunningApplication::runningApplications();
    return std::any_of(applications.begin(), applications.end(), [&](const auto& application) {
        return application.processIdentifier() == processIdentifier;
    });
}

class ARunningApplication : public testing::Test {
protected:
    // <folder>/Corvane.app, its executable a copy of the program.
    std::string bundle(const std::string& folder, const std::string& program = "/bin/sleep",
                       const std::string& executableName = "Corvane") {
        return makeBundle(folder_ / (folder + "/Corvane.app"), "com.corvane.Corvane", "9077",
                          program, executableName);
    }

    TemporaryFolder folder_;
};

TEST_F(ARunningApplication, IsNoProcessOutsideABundleNoOtherExecutableAndNoneOfAnotherSession) {
    std::string tool = bundle("tool") + "/Contents/MacOS/cvdiff";
    std::filesystem::copy_file("/bin/sleep", tool);
    struct Case {
        const char* what;
        std::string program;
        CVEnvironmentChanges changes;
    };
    for (const Case& notAnApplication : std::vector<Case>{
             {"outside a bundle", bundle("outside", "/bin/sleep", "../sleep") + "/Contents/sleep"},
             {"the tool", tool},
             {"of another session",
              bundle("other") + "/Contents/MacOS/Corvane",
              {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + folder_ / "other-bus"}}}}) {
        auto process =
            startProgram(folder_, notAnApplication.program, {"60"}, notAnApplication.changes);
        EXPECT_EQ(
            CVRunningApplication::runningApplicationWithProcessIdentifier(process->processID()),
            std::nullopt)
            << notAnApplication.what;
        EXPECT_FALSE(isListed(process->processID())) << notAnApplication.what;
    }
}

TEST_F(ARunningApplication, IsAProcessOfABundleThatHasFinishedLaunchingOnceItOwnsItsIdentifier) {
    std::string launching =
        makeBundle(folder_ / "Launching.app", "com.example.Launching", "1", "/bin/sleep");
    auto sleeper = startProgram(folder_, launching + "/Contents/MacOS/Corvane", {"60"});
    std::string path = bundle("apps", RUNNING_APPLICATION_TEST_HELPER);
    auto owner = startProgram(folder_, path + "/Contents/MacOS/Corvane", {"com.corvane.Corvane"});

    auto application =
        CVRunningApplication::runningApplicationWithProcessIdentifier(owner->processID());
    ASSERT_TRUE(application.has_value());
    EXPECT_EQ(application->processIdentifier(), owner->processID());
    EXPECT_EQ(application->bundlePath(), path);
    EXPECT_EQ(application->bundleIdentifier(), "com.corvane.Corvane");
    EXPECT_TRUE(isListed(owner->processID()));
    EXPECT_TRUE(CVWaitUntil([&] { return application->isFinishedLaunching(); }));
    CVBusNameQuestion nameOwner(CVSessionBus::shared(), "com.corvane.Corvane",
                                CVBusNameQuestion::Kind::ownerProcessIdentifier);
    auto owning = CVRunningApplication::applicationOwningName(nameOwner);
    ASSERT_TRUE(owning.has_value());
    EXPECT_EQ(owning->processIdentifier(), owner->processID());
    auto other =
        CVRunningApplication::runningApplicationWithProcessIdentifier(sleeper->processID());
    ASSERT_TRUE(other.has_value());
    EXPECT_EQ(other->bundleIdentifier(), "com.example.Launching");
    EXPECT_FALSE(other->isFinishedLaunching());
}

TEST_F(ARunningApplication, HasTheIdentifierItsBundleNamesNowThoughTheBundleWasReadBefore) {
    std::string path = makeBundle(folder_ / "Renamed.app", "com.example.First", "1", "/bin/sleep");
    auto process = startProgram(folder_, path + "/Contents/MacOS/Corvane", {"60"});
    auto identifier = [&] {
        auto application =
            CVRunningApplication::runningApplicationWithProcessIdentifier(process->processID());
        return application ? application->bundleIdentifier() : std::nullopt;
    };
    EXPECT_EQ(identifier(), "com.example.First");
    makeBundle(path, "com.example.SecondName", "1");
    EXPECT_EQ(identifier(), "com.example.SecondName");
}

}  // namespace
