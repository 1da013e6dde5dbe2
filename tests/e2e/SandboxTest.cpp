// The tool inside an app sandbox: it reaches files only with a grant the application shares.
#include <gtest/gtest.h>

#include <string>

#include "CVTestBed.h"
#include "TemporaryFolder.h"

namespace {

const std::string kAskLine = "Please allow file access for cvdiff in Corvane.\n";
const std::string kAllowedLine = "File access allowed for \"/\"\n";

class TheSandboxedTool : public ::testing::Test {
protected:
    CVTestBed bed;

    void SetUp() override {
        writeFile(bed.workDirectory() + "/a", "a\n");
        writeFile(bed.workDirectory() + "/b", "b\n");
        bed.setEnvironment({{"APP_SANDBOX_CONTAINER_ID", "com.corvane.Corvane.cvdiff"}});
    }
};

TEST_F(TheSandboxedTool, AsksOnceAndKeepsTheGrantUntilReset) {
    CVCommandResult first = bed.runTool({"a", "b"});
    EXPECT_EQ(first.status, 0) << first.standardError;
    EXPECT_EQ(first.standardOutput, kAskLine + kAllowedLine);

    CVCommandResult second = bed.runTool({"a", "b"});
    EXPECT_EQ(second.status, 0) << second.standardError;
    EXPECT_EQ(second.standardOutput, "");

    EXPECT_EQ(bed.runTool({"--reset-file-access"}).status, 0);
    CVCommandResult afterReset = bed.runTool({"a", "b"});
    EXPECT_EQ(afterReset.standardOutput, kAskLine + kAllowedLine);
}

TEST_F(TheSandboxedTool, EndsWithStatusOneWhenTheApplicationRefuses) {
    bed.setEnvironment({{"CORVANE_REFUSE_FILE_ACCESS", "1"}});
    CVCommandResult result = bed.runTool({"a", "b"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.standardOutput, kAskLine + "File access was denied\n");
}

}  // namespace
