// Files written whole or not at all, files read whole, folders with their parents, and the file
// lock.
#include "platform/CVFiles.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "TemporaryFolder.h"
#include "platform/CVReadFile.h"
#include "platform/CVSubprocess.h"

namespace {

unsigned modeOf(const std::string& path) {
    struct stat status {};
    stat(path.c_str(), &status);
    return status.st_mode & 07777;
}

TEST(AnAtomicFile, ReplacesTheWholeFileKeepingItsModeOrLeavesItUntouched) {
    TemporaryFolder folder;
    std::string path = folder.path() + "/deep/er/file";
    ASSERT_TRUE(CVMakeParentFolders(path));
    EXPECT_TRUE(CVWriteFileAtomically(path, "new\n", nullptr, 0644));
    EXPECT_EQ(modeOf(path), 0644u);
    chmod(path.c_str(), 0640);
    EXPECT_TRUE(CVWriteFileAtomically(path, "again\n"));
    EXPECT_EQ(readFile(path), "again\n");
    EXPECT_EQ(modeOf(path), 0640u);

    {  // Abandoned before its commit: the old content stays, and no side file.
        auto abandoned = CVAtomicFile::create(path, nullptr);
        ASSERT_TRUE(abandoned);
        ASSERT_EQ(write(abandoned->descriptor(), "part", 4), 4);
    }
    EXPECT_EQ(readFile(path), "again\n");
    EXPECT_EQ(folderEntries(folder.path() + "/deep/er").size(), 1u);

    std::optional<CVError> error;
    EXPECT_FALSE(CVWriteFileAtomically(folder.path() + "/missing/file", "x", &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->localizedDescription(),
              "Could not write \"" + folder.path() + "/missing/file\": No such file or directory");
}

TEST(AFileReadWhole, IsEveryByteWhateverItsSizeOrNothingWithTheReason) {
    TemporaryFolder folder;
    for (size_t size : {0, 1, 4095, 4096, 4097, 8192, 100'000}) {
        std::string contents(size, '\0');
        for (size_t index = 0; index < size; ++index) {
            contents[index] = static_cast<char>('a' + index % 23);
        }
        std::string path = folder.path() + "/" + std::to_string(size);
        ASSERT_TRUE(CVWriteFileAtomically(path, contents));
        EXPECT_EQ(CVReadWholeFile(path), contents) << size << " bytes";
    }
    // A /proc file says it is empty and is not.
    std::optional<std::string> status = CVReadWholeFile("/proc/self/status");
    ASSERT_TRUE(status);
    EXPECT_TRUE(status->starts_with("Name:"));

    int errorCode = 0;
    EXPECT_EQ(CVReadWholeFile(folder.path() + "/missing", &errorCode), std::nullopt);
    EXPECT_EQ(errorCode, ENOENT);
    EXPECT_EQ(CVReadWholeFile(folder.path(), &errorCode), std::nullopt);
    EXPECT_EQ(errorCode, EISDIR);
}

TEST(AFileLock, KeepsOthersOutWhileItIsHeld) {
    TemporaryFolder folder;
    std::string path = folder.path() + "/made/for/it.lock";
    auto tryLocking = [&] {
        auto result = CVRunSubprocess({.arguments = {"flock", "-n", path, "true"}}, nullptr);
        return result ? result->status : -1;
    };
    {
        CVFileLock lock(path, CVFileLock::Kind::exclusive);
        EXPECT_TRUE(lock.isLocked());
        EXPECT_EQ(tryLocking(), 1);
    }
    EXPECT_EQ(tryLocking(), 0);
}

}  // namespace
