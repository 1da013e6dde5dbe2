#include "link/CVApplicationLocator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "CVApplicationTestBundles.h"
#include "platform/CVPaths.h"
#include "platform/CVUserDefaults.h"

namespace {

constexpr const char* kIdentifier = "com.corvane.Corvane";
constexpr const char* kLastKnownProcessKey = "LastKnownCVPID";

// The refusals, PATH and BUILD standing for the copy's.
const std::string kTooOld =
    "The version of Corvane installed at PATH (version BUILD) is too old to be launched by cvdiff "
    "(version 9077)";
const std::string kTooNew =
    "This version of cvdiff (version 9077) is too old to launch the version of Corvane installed "
    "at PATH (version BUILD)";
const std::string kInTrash = "Corvane cannot be launched because it is in the trash.";

std::string refusal(std::string text, const std::string& path, const std::string& build) {
    for (auto [name, value] :
         {std::pair<std::string, std::string>{"PATH", path}, {"BUILD", build}}) {
        if (size_t at = text.find(name); at != std::string::npos) {
            text.replace(at, name.size(), value);
        }
    }
    return text;
}

CVError locatingError(const std::string& text, const std::string& path) {
    CVError error = CVError::withLocalizedDescription(text);
    error.userInfo["CorvaneErrorBundlePath"] = path;
    return error;
}

// Whether a copy of Corvane may be launched, by the build and identifier its bundle declares and
// the place it lies; a refusal names the reason.
TEST(TheCompatibilityTest, AcceptsOrRefusesACopyByItsBuildIdentifierAndPlace) {
    struct Case {
        std::string place;
        std::string identifier;
        std::optional<std::string> build;
        bool accepted;
        std::string refusal;
    };
    const std::vector<Case> cases = {
        {"Corvane.app", kIdentifier, "9077", true, ""},  // the tool's own build
        {"Corvane.app", kIdentifier, "9076", true, ""},
        {"Corvane.app", kIdentifier, "150", true, ""},  // the oldest accepted
        {"Corvane.app", kIdentifier, "149", false, kTooOld},
        {"Corvane.app", kIdentifier, "0", false, kTooOld},
        {"Corvane.app", kIdentifier, std::nullopt, false, kTooOld},
        {"Corvane.app", kIdentifier, "9078", false, kTooNew},
        {"Corvane.app", "com.corvane.Corvane.cvdiff", "1", true, ""},  // the tool's own bundle
        {".Trash/Corvane.app", kIdentifier, "9077", false, kInTrash},
        {"Missing.app", "", std::nullopt, false, ""},  // refused silently
    };
    for (const Case& sample : cases) {
        SCOPED_TRACE(sample.place + " " + sample.identifier + " " + sample.build.value_or("-"));
        TemporaryFolder folder;
        std::string path = folder / sample.place;
        if (!sample.identifier.empty()) {
            makeBundle(path, sample.identifier, sample.build);
        }
        std::optional<CVError> error;
        EXPECT_EQ(usableCorvaneAtPath(path, &error),
                  sample.accepted ? std::optional(path) : std::nullopt);
        std::string text = refusal(sample.refusal, path, sample.build.value_or("(null)"));
        EXPECT_EQ(error, text.empty() ? std::nullopt : std::optional(locatingError(text, path)));
    }
    std::optional<CVError> error;
    EXPECT_EQ(usableCorvaneAtPath(std::nullopt, &error), std::nullopt);
}

TEST(IntegerValue, ReadsLeadingBlanksASignAndDigitsAndGivesZeroForAnythingElse) {
    using CVApplicationLocator::integerValue;
    EXPECT_EQ(integerValue(" \t+9077abc"), 9077);
    EXPECT_EQ(integerValue("-12"), -12);
    EXPECT_EQ(integerValue("v150"), 0);
    EXPECT_EQ(integerValue(std::nullopt), 0);
    EXPECT_EQ(integerValue("99999999999999999999"), LONG_MAX);
}

TEST(TheHostingBundleOfTheTool, IsTheBundleAroundContentsMacOSCvdiffOnly) {
    using CVApplicationLocator::hostingBundleOfResolvedToolPath;
    EXPECT_EQ(hostingBundleOfResolvedToolPath("/opt/Corvane.app/Contents/MacOS/cvdiff"),
              "/opt/Corvane.app");
    EXPECT_EQ(hostingBundleOfResolvedToolPath("/usr/local/bin/cvdiff"), std::nullopt);
    EXPECT_EQ(hostingBundleOfResolvedToolPath("/opt/Corvane.app/Contents/MacOS/Corvane"),
              std::nullopt);
}

TEST(TheReportOfAFailedSearch, NamesEachBundlePathOnceAndListsSeveral) {
    using CVApplicationLocator::reportForErrors;
    CVError first = locatingError("first \"quoted\"", "/a");
    CVError again = locatingError("again", "/a");
    CVError second = locatingError("second", "/b");
    EXPECT_EQ(reportForErrors({}), "Error: Unable to locate Corvane.\n");
    EXPECT_EQ(reportForErrors({first, again}), "Error locating Corvane: first \"quoted\"\n");
    EXPECT_EQ(reportForErrors({first, again, second}),
              "Errors locating Corvane: (\n    \"first \\\"quoted\\\"\",\n    \"second\"\n)\n");
}

// The whole search, with fake bundles, desktop entries and processes.
class TheSearch : public testing::Test {
protected:
    void SetUp() override {
        struct stat status {};
        std::string userApplications = CVPaths::homeDirectory().value_or("/") + "/Applications";
        if (stat("/Applications", &status) == 0 || stat(userApplications.c_str(), &status) == 0) {
            GTEST_SKIP() << "an Applications folder exists on this machine";
        }
        std::filesystem::remove_all(testDataHome() + "/applications");
        std::filesystem::remove_all(testDataDirectory() + "/applications");
        defaults().removeDomain();
    }

    static CVUserDefaults& defaults() { return CVUserDefaults::standardUserDefaults(); }

    // A bundle that is running (a copy of sleep as its executable).
    std::string runningBundle(const std::string& name, const std::string& identifier,
                              const std::string& version) {
        std::string path = makeBundle(folder_ / name, identifier, version, "/bin/sleep");
        processes_.push_back(startProgram(folder_, path + "/Contents/MacOS/Corvane", {"60"}));
        return path;
    }
    pid_t lastProcess() const { return processes_.back()->processID(); }

    // Registers a bundle through the desktop entry of the identifier.
    void registerBundle(const std::string& path) {
        writeDesktopEntry(testDataHome(), "\"" + path + "/Contents/MacOS/Corvane\" %F");
    }

    // Runs the search, keeping what it printed on standard error.
    std::optional<std::string> locate(bool* isRunning) {
        testing::internal::CaptureStderr();
        auto path = locateCorvaneApplication(isRunning);
        errorOutput_ = testing::internal::GetCapturedStderr();
        return path;
    }

    TemporaryFolder folder_;
    std::vector<std::unique_ptr<CVTestProcess>> processes_;
    std::string errorOutput_;
};

TEST_F(TheSearch, UsesARunningCompatibleCopyAndRemembersItsProcessOnlyWhenAskedWhetherItRuns) {
    std::string path = runningBundle(".Trash/Corvane.app", kIdentifier, "9000");
    EXPECT_EQ(locate(nullptr), path);
    EXPECT_FALSE(defaults().hasObjectForKey(kLastKnownProcessKey));

    bool isRunning = false;
    EXPECT_EQ(locate(&isRunning), path);
    EXPECT_TRUE(isRunning);
    EXPECT_EQ(defaults().integerForKey(kLastKnownProcessKey), lastProcess());
}

TEST_F(TheSearch, KeepsAPreviousProcessThatIsNowAnotherApplicationAndTrustsOneWhateverItsBuild) {
    runningBundle("Other.app", "com.example.Other", "9077");
    defaults().setInteger(lastProcess(), kLastKnownProcessKey);
    locate(nullptr);
    EXPECT_EQ(defaults().integerForKey(kLastKnownProcessKey), lastProcess());

    std::string path = runningBundle(".Trash/Corvane.app", kIdentifier, "1");
    defaults().setInteger(lastProcess(), kLastKnownProcessKey);
    bool isRunning = false;
    EXPECT_EQ(locate(&isRunning), path);
    EXPECT_TRUE(isRunning);
}

TEST_F(TheSearch, ReportsThatNothingWasFoundOrEachRefusedCopyOnceThoughItWasMetTwice) {
    // A previous process that is gone is forgotten.
    defaults().setInteger(2147483647, kLastKnownProcessKey);
    bool isRunning = false;
    EXPECT_EQ(locate(&isRunning), std::nullopt);
    EXPECT_EQ(errorOutput_, "Error: Unable to locate Corvane.\n");
    EXPECT_FALSE(defaults().hasObjectForKey(kLastKnownProcessKey));

    std::string running = runningBundle("Corvane.app", kIdentifier, "149");
    registerBundle(running);
    EXPECT_EQ(locate(nullptr), std::nullopt);
    EXPECT_EQ(errorOutput_, "Error locating Corvane: " + refusal(kTooOld, running, "149") + "\n");

    registerBundle(makeBundle(folder_ / ".Trash/Corvane.app", kIdentifier, "9077", "/bin/sleep"));
    EXPECT_EQ(locate(nullptr), std::nullopt);
    EXPECT_EQ(errorOutput_, "Errors locating Corvane: (\n    \"" +
                                refusal(kTooOld, running, "149") + "\",\n    \"" + kInTrash +
                                "\"\n)\n");
}

TEST_F(TheSearch, FindsTheCopyRegisteredByItsDesktopEntryLoggingEachStepWhenAsked) {
    std::string refused = runningBundle("Old.app", kIdentifier, "149");
    std::string path =
        makeBundle(folder_ / "Corvane Folder/Corvane.app", kIdentifier, "9077", "/bin/sleep");
    registerBundle(path);
    defaults().setBool(true, "debug-logging");
    bool isRunning = false;
    EXPECT_EQ(locate(&isRunning), path);
    EXPECT_FALSE(isRunning);
    // Nothing but the log.
    std::vector<std::string> messages;
    std::istringstream lines(errorOutput_);
    for (std::string line; std::getline(lines, line);) {
        messages.push_back(line.substr(line.find("] ") + 2));
    }
    EXPECT_THAT(messages,
                testing::ElementsAre(
                    "Found Corvane at " + refused + " using runningApplications",
                    "Corvane at " + refused + " is version: 149 while cvdiff is version: 9077",
                    "Rejected Corvane at " + refused + " for not being the required version",
                    "Found Corvane at " + CVPaths::fileURLDescription(path, true) +
                        " using URLForApplicationWithBundleIdentifier",
                    "Corvane path to use: " + path));
}

}  // namespace
