#include "cli/CVCLIUsage.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        result.push_back(line);
    }
    return result;
}

}  // namespace

TEST(TheUsageText, HasSeventyLinesEachEndedByALineFeed) {
    std::string usage = CVCLIUsage::usageString();
    EXPECT_EQ(usage.size(), 4087u);
    EXPECT_TRUE(usage.ends_with("the files to merge\n"));
    std::vector<std::string> all = lines(usage);
    ASSERT_EQ(all.size(), 70u);
    EXPECT_EQ(all[0], "usage: cvdiff - send files to Corvane");
    EXPECT_TRUE(all[8].ends_with("visible label for the "));
    EXPECT_TRUE(all[9].ends_with("instead of the "));
    EXPECT_TRUE(all[11].ends_with("cvdiff\xE2\x80\x99s parent"));
    for (std::size_t index = 0; index < all.size(); ++index) {
        if (index != 8 && index != 9) {
            EXPECT_FALSE(all[index].ends_with(" ")) << "line " << index + 1;
        }
    }
}

TEST(TheUsageText, MatchesTheCheckedInTextByteForByte) {
    std::ifstream golden(CVDIFF_SOURCE_DIR "/tests/cli/usage.golden", std::ios::binary);
    std::string expected((std::istreambuf_iterator<char>(golden)),
                         std::istreambuf_iterator<char>());
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(CVCLIUsage::usageString(), expected);
}

TEST(TheShortUsage, NamesTheProcessTwice) {
    EXPECT_EQ(CVCLIUsage::onelineUsageString("cvdiff"),
              "usage: cvdiff [--version] [--wait] [--label <label>] FILE [opt] [FILE [opt]...]\n");
    EXPECT_EQ(CVCLIUsage::shortUsageString("tool"),
              "usage: tool [--version] [--wait] [--label <label>] FILE [opt] [FILE [opt]...]\n"
              "try tool --help for more information.\n");
}

TEST(TheVersionTexts, ShowVersionAndBuild) {
    EXPECT_EQ(CVCLIUsage::versionString("6.4", "9077"), "6.4 (9077)\n");
    EXPECT_EQ(CVCLIUsage::versionString(std::nullopt, "9077"), "(null) (9077)\n");
    EXPECT_EQ(CVCLIUsage::shortVersionString(), "6.4 (9077)\n");
}

TEST(TheDebugVersionText, ShowsTheApplicationWhenItsInformationWasRead) {
    EXPECT_EQ(CVCLIUsage::debugVersionString("6.4 (9077)\n", "com.corvane.Corvane.cvdiff",
                                             "/opt/Corvane.app", "6.4", "9080", true),
              "cvdiff version: 6.4 (9077)\n"
              "Bundle identifier: com.corvane.Corvane.cvdiff\n"
              "Corvane version: 6.4 (9080)\n"
              "Corvane at: '/opt/Corvane.app'\n"
              "To enable debug logging do this in Terminal:\n"
              "defaults write com.corvane.Corvane.cvdiff debug-logging -bool YES\n");
}

TEST(TheDebugVersionText, SaysNotFoundWithoutTheApplication) {
    EXPECT_EQ(CVCLIUsage::debugVersionString("\r\n6.4 (9077)\n\n", "com.corvane.Corvane.cvdiff",
                                             std::nullopt, std::nullopt, std::nullopt, false),
              "cvdiff version: 6.4 (9077)\n"
              "Bundle identifier: com.corvane.Corvane.cvdiff\n"
              "Corvane version: NOT FOUND\n"
              "To enable debug logging do this in Terminal:\n"
              "defaults write com.corvane.Corvane.cvdiff debug-logging -bool YES\n");
}
