#include "platform/CVWorkspace.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cerrno>
#include <filesystem>

#include "CVApplicationTestBundles.h"

namespace {

constexpr const char* kIdentifier = "com.corvane.Corvane";

class TheWorkspace : public testing::Test {
protected:
    void SetUp() override {
        std::filesystem::remove_all(testDataHome() + "/applications");
        std::filesystem::remove_all(testDataDirectory() + "/applications");
    }

    // What opening the bundle handed its completion.
    static std::pair<std::optional<CVRunningApplication>, std::optional<CVError>> open(
        const std::string& bundle, const std::map<std::string, std::string>& environment) {
        std::pair<std::optional<CVRunningApplication>, std::optional<CVError>> result;
        CVWorkspace::openApplicationAtURL(bundle, environment,
                                          [&](const auto& application, const auto& error) {
                                              result = {application, error};
                                          });
        return result;
    }

    TemporaryFolder folder_;
};

TEST_F(TheWorkspace, FindsTheBundleAroundTheProgramOfTheUsersEntryElseOfTheDataFolders) {
    std::string shared = makeBundle(folder_ / "Shared.app", kIdentifier, "9077", "/bin/sleep");
    std::string own =
        makeBundle(folder_ / "My Apps/Corvane.app", kIdentifier, "9077", "/bin/sleep");
    EXPECT_EQ(CVWorkspace::URLForApplicationWithBundleIdentifier(kIdentifier), std::nullopt);
    writeDesktopEntry(testDataHome(), "sleep 60");  // a program outside any bundle
    EXPECT_EQ(CVWorkspace::URLForApplicationWithBundleIdentifier(kIdentifier), std::nullopt);

    std::filesystem::remove_all(testDataHome() + "/applications");
    writeDesktopEntry(testDataDirectory(), shared + "/Contents/MacOS/Corvane");
    EXPECT_EQ(CVWorkspace::URLForApplicationWithBundleIdentifier(kIdentifier), shared);
    writeDesktopEntry(testDataHome(), "\"" + own + "/Contents/MacOS/Corvane\" --new-window %F");
    EXPECT_EQ(CVWorkspace::URLForApplicationWithBundleIdentifier(kIdentifier), own);
}

TEST(TheProgramOfAnExecValue, IsItsFirstWordUnquoted) {
    EXPECT_EQ(CVWorkspace::programOfExecValue("  /opt/Corvane %F"), "/opt/Corvane");
    EXPECT_EQ(CVWorkspace::programOfExecValue("\"/My Apps/Cor\\\"vane\" %U"), "/My Apps/Cor\"vane");
    EXPECT_EQ(CVWorkspace::programOfExecValue(" "), std::nullopt);
}

TEST_F(TheWorkspace, OpensTheBundlesExecutableWithTheExtraEnvironmentAndLeavesNoChild) {
    std::string report = folder_ / "report";
    std::string bundle = makeBundle(folder_ / "Corvane.app", kIdentifier, "9077");
    folder_.write("Corvane.app/Contents/MacOS/Corvane",
                  "#!/bin/sh\n{ echo \"$CVApplicationLaunchedFromCVDiff\"; pwd; } > " + report +
                      ".part && mv " + report + ".part " + report + "\n");
    std::filesystem::permissions(bundle + "/Contents/MacOS/Corvane",
                                 std::filesystem::perms::owner_all);

    auto [opened, failure] = open(bundle, {{"CVApplicationLaunchedFromCVDiff", "1"}});
    ASSERT_TRUE(opened.has_value());
    EXPECT_EQ(failure, std::nullopt);
    EXPECT_EQ(opened->bundlePath(), bundle);
    EXPECT_EQ(opened->bundleIdentifier(), kIdentifier);
    EXPECT_EQ(waitpid(opened->processIdentifier(), nullptr, WNOHANG), -1);
    EXPECT_TRUE(CVWaitUntil([&] { return std::filesystem::exists(report); }));
    EXPECT_EQ(readFile(report), "1\n/\n");
}

TEST_F(TheWorkspace, ReportsWhyTheExecutableCouldNotBeStarted) {
    std::string bundle = makeBundle(folder_ / "Corvane.app", kIdentifier, "9077");
    auto [opened, failure] = open(bundle, {});
    EXPECT_FALSE(opened.has_value());
    ASSERT_TRUE(failure.has_value());
    EXPECT_EQ(failure->domain, "NSPOSIXErrorDomain");
    EXPECT_EQ(failure->code, ENOENT);
    EXPECT_EQ(failure->localizedDescription(),
              "The application at " + bundle + " could not be launched: No such file or directory");
}

}  // namespace
