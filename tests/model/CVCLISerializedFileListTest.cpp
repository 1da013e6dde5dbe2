#include <gtest/gtest.h>
#include <unistd.h>

#include "TemporaryFolder.h"
#include "model/CVCLISerializedFile.h"
#include "model/CVCLISerializedFileList.h"
#include "platform/CVProcessName.h"

namespace {

using FileLists = CVCLISerializedFileList::FileLists;

std::shared_ptr<CVCLISerializedFile> summaryFile(const std::string& path) {
    return CVCLISerializedFile::serializedSummaryFileWithPath(path);
}

// "relativePath status path path..." for each list, the paths relative to the root.
std::vector<std::string> outline(const FileLists& lists, const std::string& root) {
    std::vector<std::string> lines;
    for (const auto& list : lists) {
        std::string line =
            list->relativePath().value_or("(null)") + " " + std::to_string(list->status());
        for (const auto& file : *list->files()) {
            std::string path = file->filePath().value_or("(null)");
            line += " " + (path.starts_with(root + "/") ? path.substr(root.size() + 1) : path);
        }
        lines.push_back(line);
    }
    return lines;
}

std::optional<FileLists> paired(const std::string& left, const std::string& right,
                                std::optional<CVError>* error = nullptr) {
    return CVCLISerializedFileList::serializedFileListsWithRecursiveContentsOfLeft(
        left, std::nullopt, std::nullopt, right, std::nullopt, std::nullopt, error);
}

}  // namespace

TEST(AFileList, DropsDevNullAndRecordsTheLastAbsentSideInItsStatus) {
    const std::pair<CVCLISerializedFileList::Files, std::string> cases[] = {
        {{summaryFile("/dev/null"), summaryFile("/a")}, "(null) 1 a"},
        {{summaryFile("/a"), nullptr}, "(null) 2 a"},
        {{summaryFile("/dev/null"), summaryFile("/dev/null")}, "(null) 1"},
    };
    for (const auto& [files, expected] : cases) {
        auto list = std::make_shared<CVCLISerializedFileList>();
        for (const auto& file : files) {
            list->addFile(file);
        }
        EXPECT_EQ(outline({list}, ""), std::vector<std::string>{expected});
    }
}

TEST(AFileList, RefusesTheSameFileNamedRelativelyAndAbsolutelyNamingItsResolvedPath) {
    TemporaryFolder folder;
    std::string path = folder.write("a.txt", "a");
    char previous[4096];
    ASSERT_NE(getcwd(previous, sizeof previous), nullptr);
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    auto relative =
        CVCLISerializedFile::serializedExpectedFileWithPath("a.txt", std::nullopt, std::nullopt);
    auto absolute =
        CVCLISerializedFile::serializedExpectedFileWithPath(path, std::nullopt, std::nullopt);
    ASSERT_EQ(chdir(previous), 0);
    std::optional<CVError> error;
    EXPECT_EQ(CVCLISerializedFileList::serializedFileListWithRelativePath(
                  std::nullopt, {relative, absolute}, &error),
              nullptr);
    EXPECT_EQ(
        error->localizedDescription(),
        CVProcessName() + ": " + path + ": cannot use duplicate files within the same file list");
}

TEST(AFileList, TurnsEveryBookmarkedPathIntoItsResolvedFormWhenAskedForUniqueFiles) {
    TemporaryFolder folder;
    folder.write("sub/a.txt", "a");
    auto file = CVCLISerializedFile::serializedExpectedFileWithPath(
        folder.path() + "//sub/../sub/./a.txt", std::nullopt, std::nullopt);
    auto list = CVCLISerializedFileList::serializedFileListWithRelativePath(
        "a.txt", {file, summaryFile("x/../y")});
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->uniqueFiles().size(), 2u);
    EXPECT_EQ(file->filePath(), folder / "sub/a.txt");
    EXPECT_EQ((*list->files())[1]->filePath(), "x/../y");
}

TEST(FolderPairing,
     GivesOneListPerRelativePathWithTheAbsentSideInTheStatusAndBookmarksThatResolve) {
    using Names = std::vector<std::string>;
    // Names given as "link -> target" are symbolic links.
    const std::pair<Names, Names> cases[] = {
        {{"left/a.txt", "left/sub/b.txt", "right/a.txt", "right/c.txt"},
         {"a.txt 0 left/a.txt right/a.txt", "c.txt 1 right/c.txt", "sub/b.txt 2 left/sub/b.txt"}},
        // Every name under a folder missing on one side, or under a file, stands apart.
        {{"left/deep-x", "left/x", "right/deep/a/b/c1", "right/deep/a/b/c2", "right/deep/a/d",
          "right/deep-x", "right/x/y", "right/x/z"},
         {"deep-x 0 left/deep-x right/deep-x", "deep/a/b/c1 1 right/deep/a/b/c1",
          "deep/a/b/c2 1 right/deep/a/b/c2", "deep/a/d 1 right/deep/a/d", "x 0 left/x right/x",
          "x/y 1 right/x/y", "x/z 1 right/x/z"}},
        // Hidden entries are skipped, links listed unfollowed, names sorted case-sensitively.
        {{"left/a.txt", "left/.hidden", "left/.git/config", "right/B.txt", "right/.DS_Store",
          "elsewhere/inner.txt", "right/linked -> ../elsewhere", "right/dangling -> nowhere"},
         {"B.txt 1 right/B.txt", "a.txt 2 left/a.txt", "dangling 1", "linked 1 elsewhere"}}};
    for (const auto& [names, expected] : cases) {
        TemporaryFolder folder;
        for (const auto& name : names) {
            if (auto arrow = name.find(" -> "); arrow != std::string::npos) {
                std::string target = name.substr(arrow + 4);
                ASSERT_EQ(symlink(target.c_str(), (folder / name.substr(0, arrow)).c_str()), 0);
            } else {
                folder.write(name, name);
            }
        }
        auto lists = paired(folder / "left", folder / "right/");
        ASSERT_TRUE(lists);
        EXPECT_EQ(outline(*lists, folder.path()), expected);
        for (const auto& list : *lists) {
            EXPECT_EQ(list->uniqueFiles().size(), list->files()->size());
        }
        EXPECT_EQ(outline(*lists, folder.path()), expected) << "with the bookmarks resolved";
    }
}

TEST(FolderPairing, PairsTheTwoPathsThemselvesWhenASideHoldsNoFiles) {
    TemporaryFolder folder;
    folder.write("left/a.txt", "1");
    folder.makeFolder("empty/.only-hidden");
    std::string file = folder.write("file.txt", "2");
    EXPECT_EQ(outline(*paired(folder / "left", folder / "empty"), folder.path()),
              (std::vector<std::string>{"(null) 0 left empty"}));
    EXPECT_EQ(outline(*paired(folder / "left", file), folder.path()),
              (std::vector<std::string>{"(null) 0 left file.txt"}));
    EXPECT_EQ(outline(*paired(folder / "missing", folder / "left"), folder.path()),
              (std::vector<std::string>{"(null) 1 left"}));
}

TEST(FolderPairing, FailsAsAWholeWhenAFolderIsPairedWithItself) {
    TemporaryFolder folder;
    folder.write("left/a.txt", "1");
    std::optional<CVError> error;
    EXPECT_EQ(paired(folder / "left", folder / "left/.", &error), std::nullopt);
    EXPECT_EQ(error->localizedDescription(),
              CVProcessName() + ": " + (folder / "left/a.txt") +
                  ": cannot use duplicate files within the same file list");
}

TEST(RelativePathForCurrentDirectory, IsNilForEveryInputByDesign) {
    EXPECT_EQ(CVCLISerializedFileList::relativePathForCurrentDirectory("/a", {"/a/b", "/a"}),
              std::nullopt);
    EXPECT_EQ(CVCLISerializedFileList::relativePathForCurrentDirectory("/a/b/c", {"/a"}),
              std::nullopt);
}
