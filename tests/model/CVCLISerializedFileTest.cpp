#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "ScopedVariable.h"
#include "TemporaryFolder.h"
#include "model/CVCLISerializedFile.h"
#include "platform/CVProcessName.h"
#include "process/ZPProcessInformation.h"

namespace {

// Whether the file, with the temporary flag stated or not, counts as temporary for a caller with
// that environment.
bool isTemporary(const std::string& path, std::vector<std::string> environment = {"PWD=/w"},
                 std::optional<bool> stated = std::nullopt) {
    ZPProcessInformation process(getpid());
    process.setEnvironmentArray(std::move(environment));
    CVCLISerializedFile file;
    file.setFilePath(path);
    file.setTemporary(stated);
    return file.isTemporaryForCallingProcess(process);
}

// "path temporary deletedOnExit", "-" for nil, then " bookmark" when the file has bookmark data.
std::string fields(const std::shared_ptr<CVCLISerializedFile>& file) {
    if (!file) {
        return "no file";
    }
    auto flag = [](std::optional<bool> value) { return value ? *value ? "yes" : "no" : "-"; };
    return file->filePath().value_or("-") + " " + flag(file->temporary()) + " " +
           flag(file->deletedOnExit()) + (file->URLBookmarkData() ? " bookmark" : "");
}

// Points the temporary directory elsewhere so that /tmp paths test only the other rules.
class WithTemporaryDirectory : public ::testing::Test {
    ScopedVariable temporaryDirectory_{"TMPDIR", "/scratch/user/T"};
};

}  // namespace

TEST(TheFileFactories, KeepThePathAndFlagsGivenAndBookmarkOnlyAFileThatMustExist) {
    TemporaryFolder folder;
    folder.write("a.txt", "a");
    std::string path = folder.makeFolder("sub") + "/../a.txt";
    EXPECT_EQ(fields(CVCLISerializedFile::serializedExpectedFileWithPath(path, true, std::nullopt)),
              path + " yes - bookmark");
    std::optional<CVError> error;
    EXPECT_EQ(
        fields(CVCLISerializedFile::serializedChangesetFileWithPath("a/b.txt", true, true, &error)),
        "/dev/null - -");
    EXPECT_EQ(error, std::nullopt);
    EXPECT_EQ(fields(CVCLISerializedFile::serializedSummaryFileWithPath("src/a.c")),
              "src/a.c no no");

    // An expected file that is missing is refused, naming the tool and the path.
    EXPECT_EQ(fields(CVCLISerializedFile::serializedExpectedFileWithPath("a/b.txt", std::nullopt,
                                                                         std::nullopt, &error)),
              "no file");
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain, "CVDiffErrorDomain");
    EXPECT_EQ(error->code, 1);
    EXPECT_EQ(error->localizedDescription(),
              CVProcessName() + ": \"a/b.txt\": No such file or directory");
    EXPECT_NE(error->underlyingError, nullptr);
}

TEST(AFile, TakesTheStandardizedPathItsBookmarkResolvesToOrLosesItsPath) {
    TemporaryFolder folder;
    auto bookmarked = [](const std::string& path) {
        return CVCLISerializedFile::serializedExpectedFileWithPath(path, std::nullopt,
                                                                   std::nullopt);
    };
    auto moved = bookmarked(folder.write("a.txt", "a"));
    auto deleted = bookmarked(folder.write("b.txt", "b"));
    std::string movedPath = folder.makeFolder("sub") + "/c.txt";
    ASSERT_EQ(rename((folder / "a.txt").c_str(), movedPath.c_str()), 0);
    ASSERT_EQ(unlink((folder / "b.txt").c_str()), 0);
    moved->resolveBookmarkData();
    deleted->resolveBookmarkData();
    EXPECT_EQ(deleted->filePath(), std::nullopt);
    EXPECT_EQ(deleted->bookmarkURL(), std::nullopt);
    // Following a moved file needs CAP_DAC_READ_SEARCH; without it the file is lost the same way.
    auto expected = geteuid() == 0 ? std::optional(movedPath) : std::nullopt;
    EXPECT_EQ(moved->filePath(), expected);
    EXPECT_EQ(moved->bookmarkURL(), expected);
}

TEST_F(WithTemporaryDirectory, AbsolutePathIsTemporaryFollowsTheSevenRulesAndLinuxPlaces) {
    for (const char* path :
         {"/scratch/user/T/f", "/var/folders/xy/T/f", "/private/var/folders/xy/T/f",
          "/Users/u/Library/Containers/app/Data/tmp/x", "/private/var/tmp/-Tmp-/x",
          "/variable/-Tmp-/x", "/repo/.svn/tmp/x", "/repo/.svn/text-base/x.svn-base",
          // Linux: /tmp and /var/tmp whatever TMPDIR says, Subversion 1.7's pristine store,
          // git mergetool's sides in the work tree.
          "/tmp/-Tmp-/x", "/var/tmp/x", "/repo/.svn/pristine/4f/4f2c.svn-base",
          "/repo/src/main_BASE_4242.c", "/repo/src/main_LOCAL_4242.c",
          "/repo/src/main_REMOTE_4242.c", "/repo/Makefile_BACKUP_17", "/repo/dist_LOCAL_9.tar.gz",
          "/repo/a_BASE_1x_REMOTE_2.c"}) {
        EXPECT_TRUE(CVCLISerializedFile::absolutePathIsTemporary(path)) << path;
    }
    for (const char* path :
         {"/Users/u/x", "/scratch/user/Tx", "/VAR/folders/x", "/tmpfile", "/repo/src/main_BASE.c",
          "/repo/src_LOCAL_1/main.c", "/repo/src_LOCAL_1.d/main.c", "/repo/main_THEIRS_1.c"}) {
        EXPECT_FALSE(CVCLISerializedFile::absolutePathIsTemporary(path)) << path;
    }
}

TEST(ATemporaryDirectory, CountsWhenReachedThroughASymbolicLink) {
    TemporaryFolder folder;
    std::string real = folder.makeFolder("real");
    std::string link = folder / "link";
    ASSERT_EQ(symlink(real.c_str(), link.c_str()), 0);
    ScopedVariable temporaryDirectory("TMPDIR", link);
    // Payload paths are resolved: the file shows under the real folder.
    EXPECT_TRUE(CVCLISerializedFile::absolutePathIsTemporary(real + "/cvdiff-1/f"));
    EXPECT_TRUE(isTemporary(real + "/f", {"TMPDIR=" + link}));
}

TEST_F(WithTemporaryDirectory, AFileIsTemporaryForACallerByItsStatedFlagElseItsHexSuffixOrTMPDIR) {
    EXPECT_FALSE(isTemporary("/var/folders/xy/f", {"TMPDIR=/var/folders/"}, false));
    EXPECT_TRUE(isTemporary("/home/u/f", {"TMPDIR=/var/folders/"}, true));
    EXPECT_TRUE(isTemporary("/srv/repo.0123456789ab/file"));
    EXPECT_TRUE(isTemporary("/srv/file.0123456789ab"));
    EXPECT_FALSE(isTemporary("/srv/repo.0123456789a/file"));
    EXPECT_FALSE(isTemporary("/srv/repo.0123456789abc/file"));
    EXPECT_FALSE(isTemporary("/srv/repo.0123456789AB/file"));
    EXPECT_TRUE(isTemporary("/srv/a.b.0123456789ab"));
    // What comes before the dot is one line.
    EXPECT_FALSE(isTemporary("/srv\nrepo.0123456789ab"));
    EXPECT_TRUE(isTemporary("/caller/tmp/x", {"TMPDIR=/caller/tmp/"}));
    EXPECT_FALSE(isTemporary("/elsewhere/x", {"TMPDIR=/caller/tmp/"}));
    EXPECT_TRUE(isTemporary("repo.0123456789ab", {"PWD=/w"}));
    EXPECT_TRUE(isTemporary("x", {"PWD=/var/folders/q"}));
}
