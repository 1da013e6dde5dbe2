#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

#include "TemporaryFolder.h"
#include "platform/CVBookmark.h"

TEST(ABookmark, ResolvesToItsFileNamedRelativelyThroughALinkOrWithDotsWhileThePathNamesIt) {
    TemporaryFolder folder;
    std::string path = folder.write("a.txt", "a");
    ASSERT_EQ(symlink(path.c_str(), (folder / "link").c_str()), 0);
    char previous[4096];
    ASSERT_NE(getcwd(previous, sizeof previous), nullptr);
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    auto relative = CVBookmark::create("a.txt", 0);
    auto throughLink = CVBookmark::create("link", 0);
    ASSERT_EQ(chdir(previous), 0);
    auto dotted = CVBookmark::create(folder.path() + "/./a.txt", CVBookmark::minimalBookmark);
    for (const auto& data : {relative, throughLink, dotted}) {
        ASSERT_TRUE(data);
        bool isStale = true;
        EXPECT_EQ(CVBookmark::resolve(*data, &isStale), path);
        EXPECT_FALSE(isStale);
    }
    EXPECT_FALSE(CVBookmark::parse(*dotted)->securityScoped);
    EXPECT_TRUE(CVBookmark::parse(*CVBookmark::create(path, CVBookmark::withSecurityScope))
                    ->securityScoped);
}

TEST(ABookmark, FollowsItsFileWhenItIsRenamedOrMoved) {
    TemporaryFolder folder;
    std::string path = folder.write("a.txt", "a");
    auto data = CVBookmark::create(path, CVBookmark::minimalBookmark);
    ASSERT_TRUE(data);
    ASSERT_TRUE(CVBookmark::parse(*data)->handleType) << "the kernel gave no file handle";
    std::string moved = folder.makeFolder("sub") + "/b.txt";
    ASSERT_EQ(rename(path.c_str(), moved.c_str()), 0);
    bool isStale = false;
    // Finding the moved file needs CAP_DAC_READ_SEARCH; without it the bookmark fails.
    auto found = CVBookmark::resolve(*data, &isStale);
    if (geteuid() == 0) {
        EXPECT_EQ(found, moved);
        EXPECT_TRUE(isStale);
    } else {
        EXPECT_EQ(found, std::nullopt);
    }
}

TEST(ABookmark, NamesAReplacedFileAsStaleAndFailsForAMissingOne) {
    TemporaryFolder folder;
    std::string path = folder.write("a.txt", "a");
    auto data = CVBookmark::create(path, 0);
    std::string other = folder.write("other.txt", "another file");
    ASSERT_EQ(unlink(path.c_str()), 0);
    std::optional<CVError> error;
    EXPECT_EQ(CVBookmark::resolve(*data, nullptr, &error), std::nullopt);
    EXPECT_EQ(error->localizedDescription(), "The file \"" + path + "\" no longer exists.");
    EXPECT_EQ(CVBookmark::create(path, 0, &error), std::nullopt);
    EXPECT_EQ(error->localizedDescription(),
              "Cannot make a bookmark of \"" + path + "\": No such file or directory");
    // Made while the old file still existed, so that it cannot have reused its inode number.
    ASSERT_EQ(rename(other.c_str(), path.c_str()), 0);
    bool isStale = false;
    EXPECT_EQ(CVBookmark::resolve(*data, &isStale), path);
    EXPECT_TRUE(isStale);
}

TEST(ABookmark, RefusesEveryTruncationAndCorruptionOfItsData) {
    TemporaryFolder folder;
    auto data = *CVBookmark::create(folder.write("a.txt", "a"), 0);
    for (size_t length = 0; length < data.size(); ++length) {
        std::vector<uint8_t> truncated(data.begin(),
                                       data.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_EQ(CVBookmark::parse(truncated), std::nullopt) << length;
    }
    auto longer = data;
    longer.push_back(0);
    EXPECT_EQ(CVBookmark::parse(longer), std::nullopt);
    auto otherVersion = data;
    otherVersion[4] = 2;
    std::optional<CVError> error;
    EXPECT_EQ(CVBookmark::resolve(otherVersion, nullptr, &error), std::nullopt);
    EXPECT_EQ(error->localizedDescription(), "The bookmark data is not valid.");
}
