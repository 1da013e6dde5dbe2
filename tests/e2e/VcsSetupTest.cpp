// The configurations docs/vcs-setup.md prints, applied exactly as printed and used the way a person
// uses their version-control tool: the document and what works cannot drift apart.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "CVTestBed.h"
#include "TemporaryFolder.h"

namespace {

using namespace std::chrono_literals;
using json = nlohmann::json;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

// A block of the document: the file it goes into (a leading ~ is the home folder; empty: a shell
// script to run) and its text.
struct SetupBlock {
    std::string file;
    std::string text;
};

// The document's blocks by name, from "<!-- vcs-setup: NAME [FILE] -->" and the fenced block
// after it.
std::map<std::string, SetupBlock> setupBlocks() {
    std::ifstream document(std::string(CVDIFF_SOURCE_DIR) + "/docs/vcs-setup.md");
    std::map<std::string, SetupBlock> blocks;
    const std::string marker = "<!-- vcs-setup: ";
    SetupBlock* current = nullptr;
    bool inFence = false;
    for (std::string line; std::getline(document, line);) {
        if (line.starts_with(marker)) {
            std::istringstream words(line.substr(marker.size()));
            std::string name;
            std::string file;
            words >> name >> file;
            current = &blocks[name];
            current->file = file == "-->" ? "" : file;
        } else if (current != nullptr && line.starts_with("```")) {
            inFence = !inFence;
            current = inFence ? current : nullptr;
        } else if (current != nullptr && inFence) {
            current->text += line + "\n";
        }
    }
    return blocks;
}

// The repository lies outside /tmp and /var/tmp, which count as temporary as a whole, so that
// what Corvane receives shows which files the caller made as temporary ones.
class AConfigurationFromTheDocument : public ::testing::Test {
protected:
    CVTestBed bed;
    std::string outside = CVDIFF_BINARY_DIR "/tests/e2e/callers-XXXXXX";
    std::string repository;
    bool outsideTemporary = false;
    std::map<std::string, SetupBlock> blocks = setupBlocks();

    void SetUp() override {
        ASSERT_NE(mkdtemp(outside.data()), nullptr);
        outside = std::filesystem::canonical(outside).string();
        outsideTemporary = !outside.starts_with("/tmp/") && !outside.starts_with("/var/tmp/");
        repository = outside + "/repository";
        std::filesystem::create_directories(repository);
        // "cvdiff" is found in PATH, as the installed one is.
        std::string toolFolder = bed.toolPath().substr(0, bed.toolPath().rfind('/'));
        bed.setEnvironment(kCVVersionControlIdentity);
        bed.setEnvironment({{"PATH", toolFolder + ":" + std::getenv("PATH")}});
    }
    void TearDown() override { std::filesystem::remove_all(outside); }

    // Applies a block as the document says: runs it, or adds it to its file.
    void apply(const std::string& name) {
        ASSERT_TRUE(blocks.count(name)) << "docs/vcs-setup.md has no block " << name;
        const SetupBlock& block = blocks[name];
        if (block.file.empty()) {
            shell(block.text);
            return;
        }
        // ~ is the home folder; ~/.config is where XDG_CONFIG_HOME points (its default).
        std::string path = block.file;
        if (path.starts_with("~/.config/")) {
            path = bed.root() + "/config/" + path.substr(10);
        } else if (path.starts_with("~/")) {
            path = bed.root() + "/home/" + path.substr(2);
        }
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path, std::ios::app) << block.text;
    }

    CVCommandResult shell(const std::string& script, const std::string& folder = "") {
        CVCommandResult result =
            bed.run({"sh", "-ec", script},
                    {.workingDirectory = folder.empty() ? repository : folder, .deadline = 60s});
        EXPECT_EQ(result.status, 0) << script << "\n" << result.standardError;
        return result;
    }

    std::shared_ptr<CVTestProcess> startIn(const std::vector<std::string>& command) {
        return bed.start(command, {.workingDirectory = repository, .deadline = 60s});
    }

    // The sides of the document's first item, as Corvane received them.
    static std::vector<std::string> sides(const json& document) {
        return document["fileLists"][0]["files"].get<std::vector<std::string>>();
    }
    // Whether each side of the first item counts as temporary for the calling tool; unknowable
    // when the build folder lies where every file does.
    void expectTemporary(const json& document, const std::string& flags) {
        if (outsideTemporary) {
            EXPECT_EQ(document["fileLists"][0]["temporary"], json::parse(flags)) << document;
        }
    }
};

TEST_F(AConfigurationFromTheDocument, GitDiffsInOneChangesetAndMergesWithTrustedExitStatus) {
    apply("git");
    shell(
        "git init -q . && printf 'a\\n' > a.txt && printf 'b\\n' > b.txt && "
        "printf 'base\\n' > m1.txt && printf 'base\\n' > m2.txt && git add . && "
        "git commit -qm first && printf 'A\\n' > a.txt && printf 'B\\n' > b.txt");
    // git's copy of a side goes into its temporary folder, here reached through a link.
    std::filesystem::create_directory(outside + "/private-tmp");
    std::filesystem::create_directory_symlink(outside + "/private-tmp", outside + "/tmp-link");
    shell("TMPDIR='" + outside + "/tmp-link' git difftool");
    json changeset = bed.waitForNewestDocument({{"kind", "partialChangeset"}});
    EXPECT_EQ(bed.documents().size(), 1u) << bed.documents();
    EXPECT_EQ(changeset["fileLists"].size(), 2u) << changeset;
    // git's name-status summary went ahead of the items.
    EXPECT_EQ(changeset["announcedFileLists"].size(), 2u) << changeset;
    EXPECT_EQ(changeset["parentProcessName"], "git");
    EXPECT_THAT(sides(changeset),
                ElementsAre(StartsWith(outside + "/private-tmp/"), repository + "/a.txt"));
    expectTemporary(changeset, "[true,false]");
    bed.closeTab(changeset["GUID"]);

    // Two conflicts: the first resolved in Corvane, the second closed unresolved.
    shell(
        "git checkout -q . && git checkout -qb other && printf 'theirs\\n' > m1.txt && "
        "printf 'theirs\\n' > m2.txt && git commit -qam other && git checkout -q - && "
        "printf 'ours\\n' > m1.txt && printf 'ours\\n' > m2.txt && git commit -qam ours && "
        "! git merge -q other");
    auto mergetool = startIn({"git", "mergetool"});
    json first = bed.waitForNewestDocument({{"kind", "merge"}});
    ASSERT_FALSE(first.is_null());
    std::string resolvedFile = first["outputFile"].get<std::string>();
    std::string resolvedName = resolvedFile.substr(resolvedFile.rfind('/') + 1);
    // The sides and the base are copies git writes into the work tree; the third names the file
    // the merge writes.
    const std::string copy = repository + "/" + resolvedName.substr(0, 2);
    EXPECT_THAT(sides(first), ElementsAre(MatchesRegex(copy + "_LOCAL_[0-9]+\\.txt"),
                                          MatchesRegex(copy + "_REMOTE_[0-9]+\\.txt"),
                                          repository + "/" + resolvedName,
                                          MatchesRegex(copy + "_BASE_[0-9]+\\.txt")));
    expectTemporary(first, "[true,true,false,true]");
    ASSERT_EQ(bed.finishMerge(first["GUID"], true, "right").status, 0);
    json second = bed.waitForNewestDocument({{"kind", "merge"}}, first["GUID"]);
    ASSERT_FALSE(second.is_null());
    ASSERT_EQ(bed.finishMerge(second["GUID"], false).status, 0);
    CVCommandResult merged = mergetool->wait(60s);
    EXPECT_NE(merged.status, 0) << "one merge was left unresolved";
    std::string unresolvedName = resolvedName == "m1.txt" ? "m2.txt" : "m1.txt";
    EXPECT_EQ(shell("git diff --name-only --diff-filter=U").standardOutput, unresolvedName + "\n");
    EXPECT_EQ(readFile(repository + "/" + resolvedName), "theirs\n");
}

TEST_F(AConfigurationFromTheDocument, GitDirDiffWaitsForItsTabToClose) {
    apply("git");
    apply("git-dir-diff");
    shell(
        "git init -q . && printf 'a\\n' > a.txt && git add . && git commit -qm first && "
        "printf 'A\\n' > a.txt");
    auto difftool = startIn({"git", "difftool", "--dir-diff", "--tool=cvdiff-dir"});
    // The two folders, which the window pairs file by file.
    json diff = bed.waitForNewestDocument({{"kind", "diff"}});
    EXPECT_EQ(diff["fileLists"][0]["files"].size(), 2u) << diff;
    EXPECT_TRUE(difftool->isRunning()) << "git would remove the folders while they are shown";
    bed.closeTab(diff["GUID"]);
    EXPECT_EQ(difftool->wait(30s).status, 0);
}

TEST_F(AConfigurationFromTheDocument, SubversionDiffsAndResolvesAConflictInCorvane) {
    apply("svn");
    std::string server = outside + "/server";
    std::string other = outside + "/other";
    shell("svnadmin create '" + server + "' && svn checkout -q 'file://" + server +
          "' . && printf 'one\\n' > file.txt && svn add -q file.txt && svn commit -qm first && "
          "svn checkout -q 'file://" +
          server + "' '" + other + "' && printf 'two\\n' > file.txt");
    shell("svn diff");
    json changeset = bed.waitForNewestDocument({{"kind", "partialChangeset"}});
    EXPECT_EQ(changeset["fileLists"][0]["relativePath"], "file.txt") << changeset;
    EXPECT_EQ(changeset["parentProcessName"], "svn");
    // The left side is Subversion's pristine base.
    EXPECT_THAT(sides(changeset),
                ElementsAre(MatchesRegex(repository + "/\\.svn/pristine/.*\\.svn-base"),
                            repository + "/file.txt"));
    expectTemporary(changeset, "[true,false]");
    bed.closeTab(changeset["GUID"]);

    shell("printf 'three\\n' > file.txt && svn commit -qm other", other);
    // From a terminal svn launches the merge tool itself; here --force-interactive stands in for
    // the terminal the test has not.
    auto update = startIn({"svn", "update", "--accept", "launch", "--force-interactive"});
    json merge = bed.waitForNewestDocument({{"kind", "merge"}});
    ASSERT_FALSE(merge.is_null()) << update->wait(1s).standardError;
    ASSERT_EQ(bed.finishMerge(merge["GUID"], true, "right").status, 0);
    CVCommandResult updated = update->wait(60s);
    EXPECT_EQ(updated.status, 0) << updated.standardError;
    EXPECT_EQ(shell("svn status file.txt").standardOutput.find('C'), std::string::npos);
}

TEST_F(AConfigurationFromTheDocument, MercurialComparesAndMerges) {
    apply("hg");
    shell(
        "hg init . && printf 'one\\n' > f.txt && hg add -q f.txt && hg commit -q -m first && "
        "printf 'two\\n' > f.txt");
    auto extdiff = startIn({"hg", "cvdiff"});
    json diff = bed.waitForNewestDocument({{"kind", "diff"}});
    EXPECT_EQ(diff["parentProcessName"], "hg") << diff;
    EXPECT_TRUE(extdiff->isRunning()) << "hg would remove its snapshot while it is shown";
    bed.closeTab(diff["GUID"]);
    extdiff->wait(30s);

    shell(
        "hg commit -q -m two && hg update -q 0 && printf 'three\\n' > f.txt && "
        "hg commit -q -m three");
    auto merge = startIn({"hg", "merge", "-r", "1"});
    json document = bed.waitForNewestDocument({{"kind", "merge"}});
    ASSERT_FALSE(document.is_null()) << merge->wait(1s).standardError;
    ASSERT_EQ(bed.finishMerge(document["GUID"], true, "right").status, 0);
    CVCommandResult merged = merge->wait(60s);
    EXPECT_EQ(merged.status, 0) << merged.standardError;
    EXPECT_EQ(shell("hg resolve --list").standardOutput, "R f.txt\n");
}

TEST_F(AConfigurationFromTheDocument, BreezyDiffsThroughItsAlias) {
    apply("brz");
    shell(
        "brz init -q . && printf 'one\\n' > f.txt && brz add -q f.txt && "
        "brz commit -q -m first && printf 'two\\n' > f.txt");
    // brz diff exits 1 when there are differences.
    bed.run({"brz", "cvdiff"}, {.workingDirectory = repository, .deadline = 60s});
    json changeset = bed.waitForNewestDocument({{"kind", "partialChangeset"}});
    EXPECT_EQ(changeset["parentProcessName"], "brz") << changeset;
}

}  // namespace
