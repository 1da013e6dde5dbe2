// Many runs started at once while Corvane is not running: every one must be delivered exactly
// once, however the launches race. Counted through the application's journal.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "CVTestBed.h"
#include "CVWaitUntil.h"
#include "TemporaryFolder.h"

using json = nlohmann::json;

namespace {

class ManyRunsFromCold : public ::testing::Test {
protected:
    CVTestBed bed;

    void SetUp() override {
        writeFile(bed.workDirectory() + "/left", "left\n");
        writeFile(bed.workDirectory() + "/right", "right\n");
    }

    // Starts every run at once and answers how many ended with status 0.
    int runTogether(const std::vector<std::vector<std::string>>& runs) {
        std::vector<std::shared_ptr<CVTestProcess>> started;
        started.reserve(runs.size());
        for (const auto& arguments : runs) {
            started.push_back(bed.startTool(arguments));
        }
        int succeeded = 0;
        for (auto& run : started) {
            CVCommandResult result = run->wait(std::chrono::seconds(120));
            EXPECT_EQ(result.standardError, "");
            succeeded += result.status == 0 ? 1 : 0;
        }
        return succeeded;
    }

    size_t answeredCalls() { return bed.answeredGUIDs().size(); }
};

TEST_F(ManyRunsFromCold, DeliverSixtyFourDiffsEachOnce) {
    for (int round = 0; round < 3; ++round) {
        std::vector<std::vector<std::string>> runs(64, {"left", "right"});
        EXPECT_EQ(runTogether(runs), 64) << "round " << round;
        EXPECT_EQ(answeredCalls(), 64u * (round + 1)) << "round " << round;
        ASSERT_EQ(bed.quitApplication().status, 0);
        ASSERT_TRUE(CVWaitUntil([&] { return !bed.isApplicationRunning(); }));
    }
}

TEST_F(ManyRunsFromCold, DeliverTwoHundredPartialChangesetItemsIntoOneDocument) {
    std::vector<std::vector<std::string>> runs;
    for (int item = 0; item < 200; ++item) {
        std::string name = "item-" + std::to_string(item);
        runs.push_back(
            {"--partial-changeset", "--UUID", "load", "--relative-path", name, "left", "right"});
    }
    EXPECT_EQ(runTogether(runs), 200);
    EXPECT_EQ(answeredCalls(), 200u);
    json documents = bed.documents();
    EXPECT_EQ(documents.size(), 1u);
    std::vector<json> paths = CVTestBed::fileListValues(documents, "relativePath");
    std::ranges::sort(paths);
    std::vector<json> expected;
    expected.reserve(200);
    for (int item = 0; item < 200; ++item) {
        expected.emplace_back("item-" + std::to_string(item));
    }
    std::ranges::sort(expected);
    EXPECT_EQ(paths, expected);
}

}  // namespace
