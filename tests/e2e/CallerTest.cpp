// Real version-control tools calling the tool: who called is recognised from the process chain,
// their calling conventions are understood, and git difftool's one-run-per-file calls end up in
// one changeset.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "CVTestBed.h"
#include "RegexMatches.h"
#include "TemporaryFolder.h"

namespace {

using namespace std::chrono_literals;

class ARealCaller : public ::testing::Test {
protected:
    CVTestBed bed;
    std::string repository = bed.workDirectory() + "/repository";

    void SetUp() override {
        std::filesystem::create_directories(repository);
        bed.setEnvironment({{"GIT_CONFIG_NOSYSTEM", "1"},
                            {"GIT_AUTHOR_NAME", "Test"},
                            {"GIT_AUTHOR_EMAIL", "test@example.invalid"},
                            {"GIT_COMMITTER_NAME", "Test"},
                            {"GIT_COMMITTER_EMAIL", "test@example.invalid"},
                            {"BRZ_EMAIL", "Test <test@example.invalid>"}});
    }

    CVCommandResult shell(const std::string& script) {
        CVCommandResult result =
            bed.run({"sh", "-ec", script}, {.workingDirectory = repository, .deadline = 60s});
        EXPECT_EQ(result.status, 0) << script << "\n" << result.standardError;
        return result;
    }

    std::string listing() { return bed.listDocuments().standardOutput; }
};

TEST_F(ARealCaller, GitDifftoolSendsOneChangesetWithItsSummary) {
    shell(
        "git init -q . && printf 'a\\n' > a.txt && printf 'b\\n' > b.txt && git add . && "
        "git commit -qm first && printf 'A\\n' > a.txt && printf 'B\\n' > b.txt");
    shell("git -c difftool.cv.cmd='\"" + bed.toolPath() +
          "\" --partial-changeset \"$LOCAL\" \"$REMOTE\"' difftool -y -t cv");

    std::string documents = listing();
    EXPECT_EQ(regexMatches(documents, "\"GUID\":\"([^\"]+)\"").size(), 1u) << documents;
    std::string calls = bed.journal();
    // Both items and the summary name git as the caller: "git diff", the nearest git ancestor.
    EXPECT_EQ(regexMatches(calls, "\"parentProcessName\":\"(git)\"\\},\"reply\"").size(), 3u)
        << calls;
    EXPECT_EQ(regexMatches(calls, "\"(CVCLISerializedChangesetSummary)\"").size(), 1u) << calls;
}

TEST_F(ARealCaller, SubversionDiffSendsAnItemNamedAfterTheWorkingCopyPath) {
    std::string server = bed.workDirectory() + "/server";
    shell("svnadmin create '" + server + "' && svn checkout -q 'file://" + server +
          "' . && printf 'one\\n' > file.txt && svn add -q file.txt && svn commit -qm first && "
          "printf 'two\\n' > file.txt");
    shell("svn diff --diff-cmd '" + bed.toolPath() + "' file.txt");

    std::string calls = bed.journal();
    EXPECT_EQ(regexMatches(calls, "\"parentProcessName\":\"(svn)\"\\},\"reply\"").size(), 1u)
        << calls;
    EXPECT_EQ(regexMatches(calls, "\"(CVCLISerializedPartialChangeset)\"").size(), 1u) << calls;
    EXPECT_EQ(regexMatches(listing(), "\"relativePath\":\"(file.txt)\"").size(), 1u) << listing();
}

TEST_F(ARealCaller, MercurialExtdiffIsRecognisedAsTheCaller) {
    shell(
        "hg init . && printf 'one\\n' > f.txt && hg add -q f.txt && "
        "hg commit -q -u test -m first && printf 'two\\n' > f.txt");
    // extdiff's own status says whether there were differences.
    bed.run({"hg", "--config", "extensions.extdiff=", "extdiff", "-p", bed.toolPath(), "f.txt"},
            {.workingDirectory = repository, .deadline = 60s});
    EXPECT_EQ(regexMatches(bed.journal(), "\"parentProcessName\":\"(hg)\"\\},\"reply\"").size(), 1u)
        << bed.journal();
}

TEST_F(ARealCaller, BreezyDiffIsRecognisedAsTheCaller) {
    shell(
        "brz init -q . && printf 'one\\n' > f.txt && brz add -q f.txt && "
        "brz commit -q -m first && printf 'two\\n' > f.txt");
    // brz diff exits 1 when there are differences.
    bed.run({"brz", "diff", "--using", bed.toolPath(), "f.txt"},
            {.workingDirectory = repository, .deadline = 60s});
    std::string calls = bed.journal();
    EXPECT_EQ(regexMatches(calls, "\"parentProcessName\":\"(brz)\"\\},\"reply\"").size(), 1u)
        << calls;
    EXPECT_EQ(regexMatches(calls, "\"(CVCLISerializedPartialChangeset)\"").size(), 1u) << calls;
}

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
    EXPECT_NE(bed.listDocuments().standardOutput.find("\"files\":[\"" + repository + "/a\",\"" +
                                                      repository + "/b\"]"),
              std::string::npos)
        << bed.listDocuments().standardOutput;
}

}  // namespace
