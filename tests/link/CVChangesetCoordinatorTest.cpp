#include "link/CVChangesetCoordinator.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "ScopedVariable.h"
#include "TemporaryFolder.h"
#include "platform/CVSubprocess.h"
#include "process/ZPProcessInformation.h"

namespace {

// Every test gets its own $XDG_DATA_HOME, so the closed list starts missing.
class ACoordinator : public testing::Test {
protected:
    std::string folder() const { return dataHome_ / "Corvane"; }
    std::string file() const { return dataHome_ / "Corvane/ClosedChangesets.plist"; }

    std::vector<std::string> listed() {
        return CVChangesetCoordinator().readIdentifiersWithError(nullptr).value_or(
            std::vector<std::string>{});
    }
    void list(const std::vector<std::string>& identifiers) {
        ASSERT_TRUE(CVChangesetCoordinator().writeIdentifiers(identifiers, nullptr));
    }
    // Whether the coordinator ran the block.
    bool sends(const std::optional<std::string>& identifier) {
        bool ran = false;
        CVChangesetCoordinator().coordinateSendingChangesetForIdentifier(identifier,
                                                                         [&] { ran = true; });
        return ran;
    }
    bool removes(const std::optional<std::string>& identifier) {
        bool ran = false;
        CVChangesetCoordinator().coordinateRemovingChangesetForIdentifier(identifier,
                                                                          [&] { ran = true; });
        return ran;
    }
    void close(const std::string& identifier) {
        CVChangesetCoordinator().coordinateClosingChangesetForIdentifier(identifier);
    }

    TemporaryFolder dataHome_;
    ScopedVariable dataHomeVariable_{"XDG_DATA_HOME", dataHome_.path()};
};

std::vector<std::string> uuids(int first, int count) {
    std::vector<std::string> identifiers;
    for (int index = first; index < first + count; ++index) {
        identifiers.push_back("UUID:" + std::to_string(index));
    }
    return identifiers;
}

}  // namespace

TEST(AChangesetIdentifier, NamesAProcessByIdentifierAndStartSecondsSince2001OrAUUIDByItsText) {
    using Coordinator = CVChangesetCoordinator;
    auto process = ZPProcessInformation::currentProcess();
    ASSERT_TRUE(process->startDate());
    EXPECT_EQ(Coordinator::identifierForProcess(process.get()),
              "PID:" + std::to_string(getpid()) + "-" +
                  std::to_string(*process->startDate() - 978307200));
    EXPECT_EQ(Coordinator::identifierForProcess(nullptr), std::nullopt);
    EXPECT_EQ(Coordinator::timestampForDate(978307200 - 5), -5);
    EXPECT_EQ(Coordinator::identifierForUUID(std::string("3F2A-1")), "UUID:3F2A-1");
    EXPECT_EQ(Coordinator::identifierForUUID(std::nullopt), std::nullopt);
    EXPECT_TRUE(Coordinator::identifierRepresentsProcess(std::string("PID:1-2")));
    EXPECT_TRUE(Coordinator::identifierRepresentsUUID(std::string("pid:1-2")));
    // Only a process identifier can name a process that has gone.
    EXPECT_TRUE(Coordinator::processExistsWithIdentifier(std::string("UUID:gone")));
}

TEST(AChangesetIdentifier, HasComponentsOnlyWithExactlyTwoParts) {
    const std::pair<std::string, std::optional<CVChangesetIdentifierComponents>> cases[] = {
        {"PID:4711-784512345", CVChangesetIdentifierComponents{4711, 784512345}},
        {"PID:x-y", CVChangesetIdentifierComponents{0, 0}},
        {"PID:12abc-7z", CVChangesetIdentifierComponents{12, 7}},
        {"PID:12-34-56", std::nullopt},
        {"PID:12", std::nullopt},
        {"UUID:1-2", std::nullopt},
    };
    for (const auto& [identifier, components] : cases) {
        EXPECT_EQ(CVChangesetCoordinator::componentsOfIdentifier(identifier), components)
            << identifier;
    }
}

TEST_F(ACoordinator, NamesARunningProcessWhileItRunsWithThatStartTimeAndKeepsItClosedTillThen) {
    auto sleeper = CVSubprocess::start({.arguments = {"/bin/sleep", "60"}}, nullptr);
    ASSERT_TRUE(sleeper);
    pid_t child = sleeper->processID();
    auto process = ZPProcessInformation::processInformationWithProcessIdentifier(child);
    std::string identifier = *CVChangesetCoordinator::identifierForProcess(process.get());
    std::string otherStart =
        "PID:" + std::to_string(child) + "-" +
        std::to_string(CVChangesetCoordinator::timestampForDate(process->startDate()) - 1);
    EXPECT_TRUE(CVChangesetCoordinator::processExistsWithIdentifier(identifier));
    EXPECT_FALSE(CVChangesetCoordinator::processExistsWithIdentifier(otherStart));

    CVChangesetCoordinator().coordinateClosingChangesetForProcess(process.get());
    bool ran = false;
    CVChangesetCoordinator().coordinateSendingChangesetForProcess(process.get(),
                                                                  [&] { ran = true; });
    EXPECT_FALSE(ran);
    EXPECT_EQ(listed(), std::vector<std::string>{identifier});

    sleeper->finish(std::chrono::milliseconds(0));  // killed and reaped
    EXPECT_FALSE(CVChangesetCoordinator::processExistsWithIdentifier(identifier));
    close("UUID:next");
    EXPECT_EQ(listed(), std::vector<std::string>{"UUID:next"});
}

TEST_F(ACoordinator, RefusesToSendToAClosedChangesetOnlyAndListsItOnce) {
    EXPECT_FALSE(sends(std::nullopt));
    EXPECT_FALSE(removes(std::nullopt));
    EXPECT_FALSE(std::filesystem::exists(folder()));
    EXPECT_TRUE(sends("UUID:abc"));  // nothing was closed: no file is made
    EXPECT_FALSE(std::filesystem::exists(file()));

    EXPECT_TRUE(removes("UUID:abc"));
    EXPECT_FALSE(sends("UUID:abc"));
    EXPECT_TRUE(sends("UUID:abd"));
    close("UUID:abc");
    // A process that is not running is not recorded, but its block still runs.
    EXPECT_TRUE(removes("PID:1-2"));
    EXPECT_EQ(listed(), std::vector<std::string>{"UUID:abc"});
}

TEST_F(ACoordinator, KeepsAListOf200AndDropsTheOldestHundredOnceItReaches201) {
    list(uuids(0, 200));
    close("UUID:200");
    EXPECT_EQ(listed(), uuids(0, 201));
    close("UUID:201");
    EXPECT_EQ(listed(), uuids(100, 102));

    list(uuids(0, 250));
    close("UUID:250");
    EXPECT_EQ(listed(), uuids(100, 151));
}

TEST_F(ACoordinator, ReplacesABinaryFileWholeBesideALockFileThatStays) {
    close("UUID:first");
    struct stat first {};
    ASSERT_EQ(stat(file().c_str(), &first), 0);
    close("UUID:second");
    struct stat second {};
    ASSERT_EQ(stat(file().c_str(), &second), 0);

    EXPECT_EQ(readFile(file()).substr(0, 8), "bplist00");
    EXPECT_NE(first.st_ino, second.st_ino);
    EXPECT_EQ(folderEntries(folder()),
              (std::vector<std::string>{"ClosedChangesets.plist", "ClosedChangesets.plist.lock"}));
}

TEST_F(ACoordinator, ReadsACorruptFileAsAnEmptyListAndWritesAFreshOne) {
    dataHome_.write("Corvane/ClosedChangesets.plist", "not a property list");
    EXPECT_TRUE(sends("UUID:abc"));
    std::optional<CVError> error;
    EXPECT_EQ(CVChangesetCoordinator().readIdentifiersWithError(&error), std::nullopt);
    EXPECT_TRUE(error);
    close("UUID:abc");
    EXPECT_EQ(listed(), std::vector<std::string>{"UUID:abc"});
}

TEST_F(ACoordinator, LogsAFailedWriteAndStillRunsTheBlock) {
    dataHome_.makeFolder("Corvane/ClosedChangesets.plist");
    testing::internal::CaptureStderr();
    EXPECT_TRUE(removes("UUID:abc"));
    std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("] Could not note closure: "), std::string::npos) << log;
    EXPECT_EQ(log.substr(log.size() - 2), ".\n");
}

TEST_F(ACoordinator, RecordsEveryClosureOfProcessesClosingAtTheSameTime) {
    constexpr int kPerProcess = 40;
    std::vector<pid_t> children;
    for (int process = 0; process < 2; ++process) {
        pid_t child = fork();
        if (child == 0) {
            for (const std::string& identifier : uuids(process * 1000, kPerProcess)) {
                CVChangesetCoordinator().coordinateClosingChangesetForIdentifier(identifier);
            }
            _exit(0);
        }
        children.push_back(child);
    }
    for (pid_t child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    std::vector<std::string> identifiers = listed();
    std::vector<std::string> expected = uuids(0, kPerProcess);
    std::vector<std::string> second = uuids(1000, kPerProcess);
    expected.insert(expected.end(), second.begin(), second.end());
    std::ranges::sort(identifiers);
    std::ranges::sort(expected);
    EXPECT_EQ(identifiers, expected);
}
