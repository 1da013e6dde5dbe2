#include "platform/CVRunningApplication.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "CVApplicationTestBundles.h"
#include "TemporaryFolder.h"

namespace {

bool isListed(pid_t processIdentifier) {
    auto applications = CVRunningApplication::runningApplications();
    return std::any_of(applications.begin(), applications.end(), [&](const auto& application) {
        return application.processIdentifier() == processIdentifier;
    });
}

class ARunningApplication : public testing::Test {
protected:
    TemporaryFolder folder_;
};

TEST_F(ARunningApplication, IsAProcessStartedFromABundlesExecutableFolder) {
    std::string bundle =
        makeBundle(folder_ / "Corvane.app", "com.corvane.Corvane", "9077", "/bin/sleep");
    ChildProcess process(bundle + "/Contents/MacOS/Corvane", {"60"});

    auto application =
        CVRunningApplication::runningApplicationWithProcessIdentifier(process.processIdentifier());
    ASSERT_TRUE(application.has_value());
    EXPECT_EQ(application->processIdentifier(), process.processIdentifier());
    EXPECT_EQ(application->bundlePath(), bundle);
    EXPECT_EQ(application->bundleIdentifier(), "com.corvane.Corvane");
    EXPECT_TRUE(isListed(process.processIdentifier()));
}

TEST_F(ARunningApplication, IsNoProcessOutsideABundle) {
    std::string program = folder_ / "Corvane.app/Contents/sleep";
    makeBundle(folder_ / "Corvane.app", "com.corvane.Corvane", "9077", "/bin/sleep", "../sleep");
    ChildProcess process(program, {"60"});

    EXPECT_EQ(
        CVRunningApplication::runningApplicationWithProcessIdentifier(process.processIdentifier()),
        std::nullopt);
    EXPECT_FALSE(isListed(process.processIdentifier()));
}

TEST_F(ARunningApplication, IsNoOtherExecutableOfTheBundleSuchAsTheTool) {
    std::string bundle =
        makeBundle(folder_ / "Corvane.app", "com.corvane.Corvane", "9077", "/bin/sleep");
    std::filesystem::copy_file("/bin/sleep", bundle + "/Contents/MacOS/cvdiff");
    ChildProcess tool(bundle + "/Contents/MacOS/cvdiff", {"60"});

    EXPECT_EQ(
        CVRunningApplication::runningApplicationWithProcessIdentifier(tool.processIdentifier()),
        std::nullopt);
    EXPECT_FALSE(isListed(tool.processIdentifier()));
}

TEST_F(ARunningApplication, IsNoProcessOfAnotherSession) {
    std::string bundle =
        makeBundle(folder_ / "Corvane.app", "com.corvane.Corvane", "9077", "/bin/sleep");
    ChildProcess process(bundle + "/Contents/MacOS/Corvane", {"60"},
                         {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + folder_ / "other-bus"}});

    EXPECT_EQ(
        CVRunningApplication::runningApplicationWithProcessIdentifier(process.processIdentifier()),
        std::nullopt);
    EXPECT_FALSE(isListed(process.processIdentifier()));
}

TEST_F(ARunningApplication, HasFinishedLaunchingOnceItOwnsItsBundleIdentifierOnTheBus) {
    std::string launching =
        makeBundle(folder_ / "Launching.app", "com.example.Launching", "1", "/bin/sleep");
    ChildProcess sleeper(launching + "/Contents/MacOS/Corvane", {"60"});
    std::string bundle = makeBundle(folder_ / "Corvane.app", "com.corvane.Corvane", "9077",
                                    RUNNING_APPLICATION_TEST_HELPER);
    ChildProcess owner(bundle + "/Contents/MacOS/Corvane", {"com.corvane.Corvane"});

    auto application =
        CVRunningApplication::runningApplicationWithProcessIdentifier(owner.processIdentifier());
    ASSERT_TRUE(application.has_value());
    EXPECT_TRUE(eventually([&] { return application->isFinishedLaunching(); }));
    auto other =
        CVRunningApplication::runningApplicationWithProcessIdentifier(sleeper.processIdentifier());
    ASSERT_TRUE(other.has_value());
    EXPECT_FALSE(other->isFinishedLaunching());
}

}  // namespace
