#include "process/ZPProcessInformation.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "TemporaryFolder.h"
#include "TestProcess.h"
#include "platform/CVPaths.h"

namespace {

using Environment = ZPProcessInformation::Environment;
using Strings = std::vector<std::string>;

std::string addressOf(const ZPProcessInformation& process) {
    char address[32];
    snprintf(address, sizeof address, "%p", static_cast<const void*>(&process));
    return address;
}

// The helper under another name, as a symbolic link: the kernel names a process after the file
// it was started from.
std::string helperNamed(const TemporaryFolder& folder, const std::string& name) {
    std::string path = folder / name;
    std::filesystem::create_symlink(processTestHelperPath(), path);
    return path;
}

}  // namespace

TEST(TheCurrentProcess, IsThisTestBelowProcessOneWhichHasNoParent) {
    auto current = ZPProcessInformation::currentProcess();
    EXPECT_EQ(current->processIdentifier(), getpid());
    EXPECT_EQ(current->processName(), "process_tests");
    EXPECT_EQ(current->parentProcessIdentifier(), getppid());
    EXPECT_EQ(current->parentProcessInformation()->processIdentifier(), getppid());
    EXPECT_EQ(ZPProcessInformation::parentOfCurrentProcess()->processName(),
              current->parentProcessInformation()->processName());
    EXPECT_TRUE(current->isRunning());
    ASSERT_TRUE(current->arguments().has_value());
    EXPECT_EQ(CVPaths::lastPathComponent(current->arguments()->front()), "process_tests");
    EXPECT_EQ(current->executablePath(), std::filesystem::read_symlink("/proc/self/exe").string());

    auto first = ZPProcessInformation::processInformationWithProcessIdentifier(1);
    auto top = ZPProcessInformation::topLevelProcessOfProcess(current);
    EXPECT_TRUE(first->processName().has_value());
    EXPECT_EQ(first->parentProcessIdentifier(), 0);
    EXPECT_EQ(first->parentProcessInformation(), nullptr);
    EXPECT_EQ(ZPProcessInformation::topLevelProcessOfProcess(first), first);
    EXPECT_NE(top->processIdentifier(), 1);
    EXPECT_EQ(top->parentProcessIdentifier(), 1);
    // No bundle lies around this test: its parent application is its outermost ancestor.
    EXPECT_EQ(ZPProcessInformation::parentAppOfProcess(current)->parentProcessIdentifier(), 0);
    // An environment it may not read is absent.
    if (!std::ifstream("/proc/1/environ").good()) {
        EXPECT_EQ(first->environmentArray(), std::nullopt);
        EXPECT_EQ(first->environment(), std::nullopt);
        EXPECT_EQ(first->workingDirectory(), std::nullopt);
    }
}

TEST(AMissingProcess, HasNoNameDateParentArgumentsOrEnvironment) {
    auto missing = ZPProcessInformation::processInformationWithProcessIdentifier(INT32_MAX);

    ASSERT_NE(missing, nullptr);
    EXPECT_EQ(missing->processName(), std::nullopt);
    EXPECT_EQ(missing->startDate(), std::nullopt);
    EXPECT_EQ(missing->parentProcessIdentifier(), 0);
    EXPECT_EQ(missing->parentProcessInformation(), nullptr);
    EXPECT_EQ(missing->arguments(), std::nullopt);
    EXPECT_EQ(missing->environment(), std::nullopt);
    EXPECT_EQ(missing->executablePath(), std::nullopt);
    EXPECT_FALSE(missing->isRunning());
    EXPECT_EQ(missing->description(),
              "<ZPProcessInformation: " + addressOf(*missing) + " PID:2147483647 Name:(null)>");
    EXPECT_EQ(missing->debugDescription(), missing->description());
}

TEST(AChild, ShowsItsArgumentsEnvironmentAndStartTime) {
    time_t before = time(nullptr);
    // Argument 0 is not the program's path.
    TestProcess child(processTestHelperPath(), {"helper", "one", "", "two words"},
                      {"=foo", "PATH", "A=b=c", "K=1", "K=2", "E=", "PWD=/some/where"});
    pid_t pid = child.reportedPid();
    time_t after = time(nullptr);
    ASSERT_EQ(pid, child.pid());
    auto process = ZPProcessInformation::processInformationWithProcessIdentifier(pid);

    EXPECT_EQ(process->processName(), "process_test_he");
    EXPECT_EQ(process->parentProcessIdentifier(), getpid());
    // Boot time and start ticks are each cut to whole seconds, so the sum may lag by one.
    ASSERT_TRUE(process->startDate().has_value());
    EXPECT_GE(*process->startDate(), before - 2);
    EXPECT_LE(*process->startDate(), after);
    EXPECT_EQ(process->arguments(), (Strings{"helper", "one", "", "two words"}));
    EXPECT_EQ(process->environmentArray(),
              (Strings{"=foo", "PATH", "A=b=c", "K=1", "K=2", "E=", "PWD=/some/where"}));
    EXPECT_EQ(process->environment(),
              (Environment{{"A", "b=c"}, {"E", ""}, {"K", "2"}, {"PWD", "/some/where"}}));
    EXPECT_EQ(process->valueForEnvironmentKey("PATH"), std::nullopt);
    EXPECT_EQ(process->workingDirectory(), "/some/where");
    EXPECT_EQ(process->debugDescription(),
              "<ZPProcessInformation: " + addressOf(*process) + " PID:" + std::to_string(pid) +
                  " Name:process_test_he PWD:/some/where"
                  " Arguments:(helper, one, \"\", \"two words\")"
                  " Environment:{A = \"b=c\"; E = \"\"; K = 2; PWD = /some/where;}>");
}

TEST(AChild, WithoutEnvironmentShowsNoneAndIsNoLongerRunningOnceItEnded) {
    TestProcess child(processTestHelperPath(), {"helper"}, {});
    auto process =
        ZPProcessInformation::processInformationWithProcessIdentifier(child.reportedPid());

    EXPECT_EQ(process->environment(), Environment{});
    EXPECT_EQ(process->debugDescription(), "<ZPProcessInformation: " + addressOf(*process) +
                                               " PID:" + std::to_string(child.pid()) +
                                               " Name:process_test_he Arguments:(helper)>");
    ASSERT_TRUE(process->isRunning());
    child.stop();
    EXPECT_FALSE(process->isRunning());
    EXPECT_EQ(process->processName(), "process_test_he");
}

// A name that is not UTF-8 is absent, while arguments and environment that are not are read as
// Latin-1. (Names taken from copies and links count for the callers' classification.)
TEST(AChildsName, IsTheFileNameItWasStartedFromCutToFifteenBytesOrAbsentWhenNotUTF8) {
    TemporaryFolder folder;
    TestProcess longName(helperNamed(folder, "a-very-long-program-name"), {"x"}, {});
    TestProcess notUTF8(helperNamed(folder, "bad\xff\xfename"), {"caf\xe9"}, {"N=\xe9t\xe9"});

    EXPECT_EQ(ZPProcessInformation(longName.reportedPid()).processName(), "a-very-long-pro");
    ZPProcessInformation process(notUTF8.reportedPid());
    EXPECT_EQ(process.processName(), std::nullopt);
    EXPECT_FALSE(process.isRunning()) << "without a name the child counts as not running";
    EXPECT_EQ(process.arguments(), Strings{"caf\xc3\xa9"});
    EXPECT_EQ(process.valueForEnvironmentKey("N"), "\xc3\xa9t\xc3\xa9");
}

TEST(TheParentApplication, IsTheNearestAncestorStartedFromABundleNotNestedInAnother) {
    TemporaryFolder folder;
    std::string outer = folder.makeFolder("X.app/Contents/MacOS") + "/X";
    std::string nested = folder.makeFolder("X.app/Contents/Frameworks/Y.app/Contents/MacOS") + "/Y";
    std::filesystem::copy_file(processTestHelperPath(), outer);
    std::filesystem::copy_file(processTestHelperPath(), nested);
    std::string helper = processTestHelperPath();
    TestProcess application(outer, {outer, "--spawn", nested, nested, "--spawn", helper, "leaf"},
                            {});
    auto leaf =
        ZPProcessInformation::processInformationWithProcessIdentifier(application.reportedPid());

    auto parentApp = ZPProcessInformation::parentAppOfProcess(leaf);

    EXPECT_EQ(parentApp->processIdentifier(), application.pid());
    EXPECT_EQ(parentApp->processName(), "X");
}

TEST(AStatLine, GivesTheNameParentAndStartTicksOrNothing) {
    const std::string rest = " 0 0 0 -1 4194560 0 0 0 0 0 0 0 0 20 0 1 0 4242 0";
    struct Case {
        std::string line;
        std::optional<std::string> name;
    };
    const Case cases[] = {
        {"17 (git) S 12" + rest, "git"},
        {"17 (a b) c)) S 12" + rest, "a b) c)"},  // the name ends at the last ')'
        {"17 (caf\xc3\xa9) S 12" + rest, "caf\xc3\xa9"},
        {"17 (process_test_he) R 12" + rest, "process_test_he"},
        {"17 (zombie) Z 12" + rest, std::nullopt},
        {"17 (short) S 12 0", std::nullopt},
        {"17 no parentheses S 12" + rest, std::nullopt},
        {"17 (x) S twelve" + rest, std::nullopt},
    };
    for (const Case& c : cases) {
        auto stat = ZPProcessInformation::parseStatLine(c.line);
        EXPECT_EQ(stat ? std::optional(stat->name) : std::nullopt, c.name) << c.line;
        if (stat) {
            EXPECT_EQ(stat->parent, 12);
            EXPECT_EQ(stat->startTicks, 4242u);
        }
    }
}
