#include <gtest/gtest.h>

#include <cstdio>

#include "TemporaryFolder.h"
#include "model/CVCLISerializedChangesetSummary.h"
#include "model/CVCLISerializedFile.h"
#include "model/CVCLISerializedFileList.h"
#include "platform/CVSubprocess.h"

namespace {

// "status path path..." for each list of the summary.
std::vector<std::string> outline(std::string_view lines) {
    auto summary =
        CVCLISerializedChangesetSummary::serializedChangesetSummaryWithGitSummaryLines(lines);
    std::vector<std::string> outlined;
    for (const auto& list : *summary->fileLists()) {
        std::string line = std::to_string(list->status());
        for (const auto& file : *list->files()) {
            line += " " + file->filePath().value_or("(null)");
            EXPECT_EQ(file->temporary(), false);
        }
        outlined.push_back(line);
    }
    return outlined;
}

std::string run(const std::string& command) {
    auto result = CVRunSubprocess(
        {.arguments = {"/bin/sh", "-c", command}, .standardOutput = CVChildOutput::captured()},
        nullptr);
    EXPECT_TRUE(result && result->status == 0) << command;
    return result ? result->standardOutput : "";
}

}  // namespace

TEST(AChangesetSummary, ReadsTheNameStatusOfARealGitRepository) {
    TemporaryFolder folder;
    std::string git = "cd '" + folder.path() + "' && git -c user.email=t@t -c user.name=t ";
    folder.write("src/a.c", "a\n");
    folder.write("old.txt", "old\n");
    std::string lines;
    for (int line = 0; line < 60; ++line) {
        lines += "line " + std::to_string(line) + "\n";
    }
    folder.write("x.c", "x " + lines);
    folder.write("p.c", "p " + lines);
    folder.write("c.c", "c " + lines);
    run(git + "init -q && " + git + "add -A && " + git + "commit -qm first");
    folder.write("src/a.c", "a\nb\n");
    folder.write("new.txt", "new\n");
    folder.write("q.c", "p " + lines + "changed\n");
    folder.write("y.c", "x " + lines);
    folder.write("d.c", "c " + lines);
    run("cd '" + folder.path() + "' && rm old.txt p.c x.c");
    run(git + "add -A");
    std::string status = run(git + "diff --cached --name-status -M -C --find-copies-harder");
    EXPECT_EQ(outline(status), (std::vector<std::string>{"0 c.c d.c", "1 new.txt", "2 old.txt",
                                                         "0 p.c q.c", "0 src/a.c", "3 x.c y.c"}));
}

TEST(AChangesetSummary, GivesEachLetterItsStatusSplitsAtEveryLineEndAndSkipsLinesWithoutATab) {
    using Lines = std::vector<std::string>;
    const std::pair<std::string, Lines> cases[] = {
        {"M\tsrc/a.c\nA\tnew.txt\nD\told.txt\nR100\tx.c\ty.c\nR075\tp.c\tq.c\n",
         {"0 src/a.c", "1 new.txt", "2 old.txt", "3 x.c y.c", "0 p.c q.c"}},
        {"M\ta\r\nA\tb\rD\tc\xc2\x85M\td\xe2\x80\xa8M\te\xe2\x80\xa9M\tf",
         {"0 a", "1 b", "2 c", "0 d", "0 e", "0 f"}},
        {"M\ta\r\n\r\nM\tb\r\n", {"0 a", "0 b"}},
        // Fields past the third are ignored.
        {"M src/a.c\n\tlonely\nR100\tx\ty\tz\n\n", {"0 lonely", "3 x y"}},
        {"", {}},
    };
    for (const auto& [lines, expected] : cases) {
        SCOPED_TRACE(lines);
        EXPECT_EQ(outline(lines), expected);
    }
}
