// Callers recognised from the process chain as Linux really runs them. The version-control
// tools themselves are driven through their documented configuration (VcsSetupTest.cpp).
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "CVTestBed.h"
#include "TemporaryFolder.h"

using json = nlohmann::json;

namespace {

using namespace std::chrono_literals;

class ARealCaller : public ::testing::Test {
protected:
    CVTestBed bed;
    std::string repository = bed.workDirectory() + "/repository";

    void SetUp() override { std::filesystem::create_directories(repository); }
};

TEST_F(ARealCaller, AJetBrainsRuntimeInAnyInstallationIsNeverMadeToGiveStandardInput) {
    // An IDE started from bin/<product>.sh runs as <install>/jbr/bin/java; here a shell stands
    // in for that runtime, and its standard input is a pipe nobody ever closes.
    std::string install = bed.workDirectory() + "/apps/some-ide-2024.3";
    std::filesystem::create_directories(install + "/jbr/bin");
    writeFile(install + "/product-info.json", R"({"name": "GoLand", "productCode": "GO"})");
    std::filesystem::copy_file("/bin/sh", install + "/jbr/bin/java");
    writeFile(repository + "/a", "a\n");
    writeFile(repository + "/b", "b\n");
    CVCommandResult result = bed.run(
        {install + "/jbr/bin/java", "-c",
         "mkfifo pipe && exec 0<>pipe && rm pipe && \"$0\" a b; echo status $?", bed.toolPath()},
        {.workingDirectory = repository, .deadline = 30s});
    EXPECT_FALSE(result.timedOut);
    EXPECT_EQ(result.standardOutput, "status 0\n") << result.standardError;
    // Two files: no standard-input copy was put before them.
    EXPECT_EQ(CVTestBed::fileListValues(bed.documents(), "files"),
              std::vector<json>{json::array({repository + "/a", repository + "/b"})});
}

}  // namespace
