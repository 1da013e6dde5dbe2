#include "cli/CVCLIUsage.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

// The golden file holds the whole text: seventy lines, two of them ending in a space on purpose.
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

TEST(TheDebugVersionText, ShowsTheApplicationWhenItsInformationWasReadOrSaysNotFound) {
    EXPECT_EQ(CVCLIUsage::debugVersionString("6.4 (9077)\n", "com.corvane.Corvane.cvdiff",
                                             "/opt/Corvane.app", "6.4", "9080", true),
              "cvdiff version: 6.4 (9077)\n"
              "Bundle identifier: com.corvane.Corvane.cvdiff\n"
              "Corvane version: 6.4 (9080)\n"
              "Corvane at: '/opt/Corvane.app'\n"
              "To enable debug logging do this in Terminal:\n"
              "defaults write com.corvane.Corvane.cvdiff debug-logging -bool YES\n");
    EXPECT_EQ(CVCLIUsage::debugVersionString("\r\n6.4 (9077)\n\n", "com.corvane.Corvane.cvdiff",
                                             std::nullopt, std::nullopt, std::nullopt, false),
              "cvdiff version: 6.4 (9077)\n"
              "Bundle identifier: com.corvane.Corvane.cvdiff\n"
              "Corvane version: NOT FOUND\n"
              "To enable debug logging do this in Terminal:\n"
              "defaults write com.corvane.Corvane.cvdiff debug-logging -bool YES\n");
}
