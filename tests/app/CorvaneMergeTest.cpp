// The merge model: regions from libgit2's diffs, choices, hand edits, and writing the result.

#include "app/CorvaneMerge.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <random>

#include "TemporaryFolder.h"

namespace {

using Choice = CorvaneMerge::Choice;
using Kind = CorvaneMerge::Region::Kind;

const std::string kBase = "one\ntwo\nthree\nfour\nfive\nsix\nseven\n";

std::string kinds(const CorvaneMerge& merge) {
    std::string text;
    for (const CorvaneMerge::Region& region : merge.regions()) {
        static const char* names[] = {"=", "L", "R", "B", "C"};
        text += names[static_cast<int>(region.kind)];
    }
    return text;
}

TEST(CorvaneMerge, SplitsTheTextsIntoStableAndConflictingRegions) {
    struct Case {
        const char* name;
        std::string left, right;
        std::optional<std::string> base;
        std::string kinds;
        std::string result;
        size_t conflicts;
    };
    const std::vector<Case> cases = {
        {"clean", "ONE\ntwo\nthree\nfour\nfive\nsix\nseven\n",
         "one\ntwo\nthree\nfour\nfive\nsix\nSEVEN\n", kBase, "L=R",
         "ONE\ntwo\nthree\nfour\nfive\nsix\nSEVEN\n", 0},
        {"same change on both sides", "one\ntwo\nTHREE\nfour\nfive\nsix\nseven\n",
         "one\ntwo\nTHREE\nfour\nfive\nsix\nseven\n", kBase,
         "=B=", "one\ntwo\nTHREE\nfour\nfive\nsix\nseven\n", 0},
        {"conflict", "one\ntwo\nLEFT\nfour\nfive\nsix\nseven\nadded\n",
         "one\ntwo\nRIGHT\nfour\nfive\nsix\nseven\n", kBase, "=C=L",
         "one\ntwo\n<<<<<<< left\nLEFT\n||||||| base\nthree\n=======\nRIGHT\n>>>>>>> right\n"
         "four\nfive\nsix\nseven\nadded\n",
         1},
        {"adjacent lines conflict", "one\nTWO\nthree\nfour\nfive\nsix\nseven\n",
         "one\ntwo\nTHREE\nfour\nfive\nsix\nseven\n", kBase, "=C=",
         "one\n<<<<<<< left\nTWO\nthree\n||||||| base\ntwo\nthree\n=======\ntwo\nTHREE\n"
         ">>>>>>> right\nfour\nfive\nsix\nseven\n",
         1},
        {"deletion against an untouched side", "one\nfour\nfive\nsix\nseven\n", kBase, kBase,
         "=L=", "one\nfour\nfive\nsix\nseven\n", 0},
        {"two-way: every difference", "a\nb\nc\n", "a\nB\nc\nd\n", std::nullopt, "=C=C",
         "a\n<<<<<<< left\nb\n=======\nB\n>>>>>>> right\nc\n<<<<<<< left\n=======\nd\n"
         ">>>>>>> right\n",
         2},
        {"two-way: identical", "same\n", "same\n", std::nullopt, "=", "same\n", 0},
        {"all empty", "", "", std::string(), "=", "", 0},
    };
    for (const Case& test : cases) {
        CorvaneMerge merge(test.left, test.right, test.base, "/nonexistent/out");
        EXPECT_EQ(kinds(merge), test.kinds) << test.name;
        EXPECT_EQ(merge.resultText(), test.result) << test.name;
        EXPECT_EQ(merge.conflictsLeft(), test.conflicts) << test.name;
        EXPECT_EQ(merge.regionOffsets().back(), test.result.size()) << test.name;
    }
}

TEST(CorvaneMerge, MergesAsGitMergeFileDoes) {
    // Random edits of a random text: the result, conflicts included, matches git's own merge.
    TemporaryFolder folder;
    std::mt19937 random(15);
    auto line = [&](char first) {
        return std::string(1, static_cast<char>(first + random() % 4)) + "\n";
    };
    auto edited = [&](const std::string& base) {
        std::string text;
        for (size_t start = 0; start < base.size(); start += 2) {
            unsigned dice = random() % 8;
            text += dice == 1 ? line('A') : "";
            text += dice == 0 ? "" : base.substr(start, 2);
            text += dice == 2 ? line('p') : "";
        }
        return text;
    };
    for (int round = 0; round < 60; ++round) {
        std::string base;
        for (int count = 0; count < 20; ++count) {
            base += line('a');
        }
        std::string left = edited(base);
        std::string right = edited(base);
        writeFile(folder / "left", left);
        writeFile(folder / "base", base);
        writeFile(folder / "right", right);
        std::string command = "git merge-file -p --diff3 -L left -L base -L right " +
                              (folder / "left") + " " + (folder / "base") + " " +
                              (folder / "right") + " > " + (folder / "merged");
        ASSERT_NE(std::system(command.c_str()), -1);
        CorvaneMerge merge(left, right, base, "/nonexistent/out");
        ASSERT_EQ(merge.resultText(), readFile(folder / "merged")) << "base:\n"
                                                                   << base << "left:\n"
                                                                   << left << "right:\n"
                                                                   << right;
    }
}

TEST(CorvaneMerge, TakesTheChosenSideForAConflict) {
    const std::string left = "one\ntwo\nLEFT\nfour\nfive\nsix\nseven\n";
    const std::string right = "one\ntwo\nRIGHT\nfour\nfive\nsix\nseven\n";
    const std::vector<std::pair<Choice, std::string>> cases = {
        {Choice::left, "LEFT\n"},
        {Choice::right, "RIGHT\n"},
        {Choice::leftThenRight, "LEFT\nRIGHT\n"},
        {Choice::rightThenLeft, "RIGHT\nLEFT\n"},
        {Choice::base, "three\n"},
    };
    for (const auto& [choice, middle] : cases) {
        CorvaneMerge merge(left, right, kBase, "/nonexistent/out");
        EXPECT_FALSE(merge.hasUserChanges());
        EXPECT_TRUE(merge.choose(1, choice));
        EXPECT_TRUE(merge.hasUserChanges());
        EXPECT_EQ(merge.conflictsLeft(), 0u);
        EXPECT_EQ(merge.resultText(), "one\ntwo\n" + middle + "four\nfive\nsix\nseven\n");
    }
    CorvaneMerge merge(left, right, kBase, "/nonexistent/out");
    EXPECT_FALSE(merge.choose(0, Choice::left)) << "not a conflict";
    EXPECT_FALSE(merge.choose(1, Choice::edited));
    CorvaneMerge twoWay("a\n", "b\n", std::nullopt, "/nonexistent/out");
    EXPECT_FALSE(twoWay.choose(0, Choice::base)) << "no base to take";
    // Sides without a final line end still give one line each.
    CorvaneMerge unterminated("a", "b", std::nullopt, "/nonexistent/out");
    unterminated.choose(0, Choice::leftThenRight);
    EXPECT_EQ(unterminated.resultText(), "a\nb");
}

TEST(CorvaneMerge, WalksTheConflictsAndTakesAHandEditAsAResolution) {
    CorvaneMerge merge("a\nL1\nc\nd\nL2\nf\n", "a\nR1\nc\nd\nR2\nf\n", "a\nb\nc\nd\ne\nf\n",
                       "/nonexistent/out");
    ASSERT_EQ(kinds(merge), "=C=C=");
    EXPECT_EQ(merge.nextConflict(std::nullopt), 1u);
    EXPECT_EQ(merge.nextConflict(1), 3u);
    EXPECT_EQ(merge.nextConflict(3), std::nullopt);
    EXPECT_EQ(merge.previousConflict(std::nullopt), 3u);
    EXPECT_EQ(merge.previousConflict(3), 1u);
    EXPECT_EQ(merge.previousConflict(1), std::nullopt);

    merge.choose(1, Choice::left);
    // "a\nL1\nc\nd\n" then the second conflict's markers: replace them by hand.
    std::string result = merge.resultText();
    size_t start = result.find("<<<<<<<");
    size_t end = result.find(">>>>>>> right\n") + 14;
    EXPECT_EQ(merge.regionAtOffset(start), 3u);
    EXPECT_TRUE(merge.edit(start, end - start, "mine\n"));
    EXPECT_EQ(merge.conflictsLeft(), 0u);
    EXPECT_EQ(merge.resultText(), "a\nL1\nc\nd\nmine\nf\n");
    EXPECT_EQ(merge.regions()[3].choice, Choice::edited);

    // An edit across regions joins them into one edited region.
    EXPECT_TRUE(merge.edit(1, 6, "-"));
    EXPECT_EQ(merge.resultText(), "a-d\nmine\nf\n");
    EXPECT_EQ(kinds(merge), "CC=");
    EXPECT_FALSE(merge.edit(100, 0, "x"));
}

struct WriteTest : ::testing::Test {
    TemporaryFolder folder;
    CorvaneMerge merge(const std::string& output) { return {"x\nL\n", "x\nR\n", "x\nB\n", output}; }
};

TEST_F(WriteTest, WritesOnlyWithoutConflictsAtomicallyKeepingTheMode) {
    std::string output = folder.write("out.txt", "conflicted\n");
    chmod(output.c_str(), 0751);
    CorvaneMerge open = merge(output);
    std::string whyNot;
    EXPECT_EQ(open.resolve(false, &whyNot), CorvaneMerge::WriteOutcome::conflictsLeft);
    EXPECT_EQ(whyNot, "1 conflict is left.");
    EXPECT_EQ(readFile(output), "conflicted\n");
    open.choose(1, Choice::rightThenLeft);
    struct stat before {};
    stat(output.c_str(), &before);
    EXPECT_EQ(open.resolve(false, &whyNot), CorvaneMerge::WriteOutcome::written) << whyNot;
    struct stat after {};
    stat(output.c_str(), &after);
    EXPECT_EQ(readFile(output), "x\nR\nL\n");
    EXPECT_EQ(after.st_mode & 07777, 0751u);
    EXPECT_NE(after.st_ino, before.st_ino) << "renamed over, not rewritten in place";
    EXPECT_EQ(folderEntries(folder.path()), std::vector<std::string>{"out.txt"});
}

TEST_F(WriteTest, AsksBeforeOverwritingAFileSomeoneElseChanged) {
    std::string output = folder.write("out.txt", "conflicted\n");
    CorvaneMerge open = merge(output);
    open.choose(1, Choice::left);
    writeFile(output, "edited elsewhere, longer\n");
    std::string whyNot;
    EXPECT_EQ(open.resolve(false, &whyNot), CorvaneMerge::WriteOutcome::outputChangedElsewhere);
    EXPECT_EQ(whyNot, "\"" + output + "\" was changed by another program since the merge opened.");
    EXPECT_EQ(readFile(output), "edited elsewhere, longer\n");
    EXPECT_EQ(open.resolve(true, &whyNot), CorvaneMerge::WriteOutcome::written);
    EXPECT_EQ(readFile(output), "x\nL\n");
}

TEST_F(WriteTest, KeepsTheMergeOpenWhenItsFolderCannotBeWritten) {
    std::string locked = folder.makeFolder("locked");
    std::string output = folder.write("locked/out.txt", "conflicted\n");
    chmod(locked.c_str(), 0555);
    CorvaneMerge open = merge(output);
    open.choose(1, Choice::left);
    std::string whyNot;
    auto outcome = open.resolve(false, &whyNot);
    chmod(locked.c_str(), 0755);
    if (geteuid() != 0) {  // root writes anywhere
        EXPECT_EQ(outcome, CorvaneMerge::WriteOutcome::failed);
        EXPECT_EQ(whyNot, "Could not write \"" + output + "\": Permission denied.");
        EXPECT_EQ(readFile(output), "conflicted\n");
    }

    std::string vanished = folder.makeFolder("gone") + "/out.txt";
    CorvaneMerge orphan = merge(vanished);
    orphan.choose(1, Choice::right);
    rmdir((folder / "gone").c_str());
    EXPECT_EQ(orphan.resolve(true, &whyNot), CorvaneMerge::WriteOutcome::failed);
    EXPECT_EQ(whyNot, "Could not write \"" + vanished + "\": No such file or directory.");
    EXPECT_EQ(orphan.conflictsLeft(), 0u);
    EXPECT_EQ(orphan.resultText(), "x\nR\n");

    std::string notAFolder = folder.write("plain", "") + "/out.txt";
    EXPECT_EQ(merge(notAFolder).resolve(true, &whyNot), CorvaneMerge::WriteOutcome::conflictsLeft);
    CorvaneMerge underFile = merge(notAFolder);
    underFile.choose(1, Choice::base);
    EXPECT_EQ(underFile.resolve(true, &whyNot), CorvaneMerge::WriteOutcome::failed);
    EXPECT_EQ(whyNot, "Could not write \"" + notAFolder + "\": Not a directory.");
}

}  // namespace
