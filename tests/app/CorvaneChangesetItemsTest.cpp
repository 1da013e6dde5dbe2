// What a tab shows of its document's file lists: its title, and the list of a changeset's items,
// driven by the file lists as the bus fills them.

#include <gtest/gtest.h>

#include <tuple>

#include "app/CorvaneChangesetItems.h"
#include "app/CorvaneDocumentTitle.h"

namespace {

CorvaneFileList item(std::vector<std::string> files, int64_t status = 0,
                     std::optional<std::string> relativePath = std::nullopt) {
    CorvaneFileList list;
    list.files = std::move(files);
    list.status = status;
    list.relativePath = std::move(relativePath);
    return list;
}

// "path[ -> newPath] L word[, pending][, repeated]" for every visible row.
std::vector<std::string> shown(const CorvaneChangesetItems& items) {
    std::vector<std::string> lines;
    for (size_t position = 0; position < items.count(); ++position) {
        CorvaneChangesetItems::Row row = items.row(position);
        std::string line = row.path + (row.newPath ? " -> " + *row.newPath : "") + " " +
                           CorvaneChangeLetter(row.kind) + " " + CorvaneChangeWord(row.kind);
        line += row.pending ? ", pending" : "";
        line += row.repeated ? ", repeated" : "";
        line += row.fileListIndex ? " #" + std::to_string(*row.fileListIndex) : "";
        lines.push_back(line);
    }
    return lines;
}

// The (position, removed, added) of every change the list reports.
using Changes = std::vector<std::tuple<size_t, size_t, size_t>>;
void record(CorvaneChangesetItems& items, Changes* changes) {
    items.onItemsChanged = [changes](size_t position, size_t removed, size_t added) {
        changes->emplace_back(position, removed, added);
    };
}

TEST(CorvaneUnquoteGitPath, UndoesGitsQuotingAndLeavesAnythingElseAsItIs) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"plain.txt", "plain.txt"},
        {R"("sp\303\251 cial.txt")", "sp\xc3\xa9 cial.txt"},
        {R"("\001\177\377")", "\001\177\377"},
        {R"("tab\there, line\nbreak, q\"uote, back\\slash, \a\b\f\r\v")",
         "tab\there, line\nbreak, q\"uote, back\\slash, \a\b\f\r\v"},
        {R"("")", ""},
        // Malformed: kept whole.
        {R"("unterminated\")", R"("unterminated\")"},
        {R"("bad\9")", R"("bad\9")"},
        {R"("short\30")", R"("short\30")"},
        {R"("over\400")", R"("over\400")"},
        {R"("in"side")", R"("in"side")"},
        {R"("lone)", R"("lone)"},
        {R"(")", R"(")"},
    };
    for (const auto& [quoted, expected] : cases) {
        EXPECT_EQ(CorvaneUnquoteGitPath(quoted), expected) << quoted;
    }
}

TEST(CorvaneChangesetItems, FillsAnnouncedRowsAsTheirItemsArriveAndAppendsTheRest) {
    CorvaneDocument document;
    document.announcedFileLists = {
        item({"src/a.c"}),        item({"new.txt"}, 1), item({"old.txt"}, 2),
        item({"x.c", "y.c"}, 3),  item({"p.c", "q.c"}), item({R"("sp\303\251 cial.txt")"}),
        item({"never/sent.txt"}),
    };
    CorvaneChangesetItems items(document);
    Changes changes;
    record(items, &changes);
    EXPECT_EQ(items.pendingCount(), 7u);

    // As git difftool sends them: the old side a temporary copy, the new one in the work tree.
    document.fileLists = {
        item({"/tmp/AbC123_a.c", "/repo/src/a.c"}),
        item({"/tmp/git-blob-Qx/q.c", "/repo/q.c"}),
        item({"/tmp/git-blob-Zz/unlisted.md", "/repo/docs/unlisted.md"}),
        item({"/tmp/x1/sp\xc3\xa9 cial.txt", "/repo/sp\xc3\xa9 cial.txt"}),
        item({"/tmp/AbC124_a.c", "/repo/src/a.c"}),
        item({"/left/new.txt"}, 1),
    };
    items.refresh();
    EXPECT_EQ(shown(items),
              (std::vector<std::string>{
                  "src/a.c M modified #0",
                  "new.txt A added #5",
                  "old.txt D deleted, pending",
                  "x.c -> y.c R renamed, pending",
                  "p.c -> q.c R renamed or copied #1",
                  "sp\xc3\xa9 cial.txt M modified #3",
                  "never/sent.txt M modified, pending",
                  "/tmp/git-blob-Zz/unlisted.md -> /repo/docs/unlisted.md M modified #2",
                  "src/a.c M modified, repeated #4",
              }));
    EXPECT_EQ(changes, (Changes{{0, 1, 1}, {4, 1, 1}, {7, 0, 1}, {5, 1, 1}, {8, 0, 1}, {1, 1, 1}}));
    EXPECT_EQ(items.pendingCount(), 3u);
    EXPECT_EQ(items.positionOfFileList(5), 1u);
}

TEST(CorvaneChangesetItems, FiltersByPathIgnoringCaseAndKeepsNewRowsToTheFilter) {
    CorvaneDocument document;
    document.kind = CorvaneDocumentKind::changeset;
    document.fileLists = {item({"/l/Src/Main.c", "/r/Src/Main.c"}, 0, "Src/Main.c"),
                          item({"/r/README"}, 1, "README"),
                          item({"/l/src/util.h"}, 2, "src/util.h")};
    CorvaneChangesetItems items(document);
    Changes changes;
    record(items, &changes);
    items.setFilter("SRC/");
    EXPECT_EQ(shown(items),
              (std::vector<std::string>{"Src/Main.c M modified #0", "src/util.h D deleted #2"}));
    document.fileLists.push_back(item({"/l/docs/x", "/r/docs/x"}, 0, "docs/x"));
    document.fileLists.push_back(item({"/l/src/y", "/r/src/y"}, 0, "src/y"));
    items.refresh();
    EXPECT_EQ(items.count(), 3u);
    EXPECT_EQ(items.positionOfFileList(3), std::nullopt);
    items.setFilter("");
    EXPECT_EQ(items.count(), 5u);
    EXPECT_EQ(changes, (Changes{{0, 3, 2}, {2, 0, 1}, {0, 3, 5}}));
}

TEST(ATabTitle, NamesFilesMergesAndTheFoldersAChangesetCompares) {
    struct TitleCase {
        CorvaneDocumentKind kind;
        std::string title;
        std::vector<CorvaneFileList> items;
        std::optional<std::string> output = std::nullopt;
        std::vector<CorvaneFileList> announced = {};
    };
    using enum CorvaneDocumentKind;
    const TitleCase cases[] = {
        {diff, "old/x.c \u2194 new/x.c", {item({"/a/old/x.c", "/a/new/x.c"})}},
        {merge, "x.c (merge)", {item({"/r/x_LOCAL_7.c", "/r/x_REMOTE_7.c"})}, "/r/src/x.c"},
        {changeset,
         "before \u2194 after",
         {item({"/t/before/a/x.c", "/t/after/a/x.c"}, 0, "a/x.c"),
          item({"/t/after/new.c"}, 1, "new.c"), item({"/t/before/old.c"}, 2, "old.c")}},
        // git difftool: temporary left sides, the work tree on the right.
        {partialChangeset,
         "project",
         {item({"/tmp/git-blob-1/x.c", "/home/me/project/src/x.c"}, 0, "src/x.c"),
          item({"/tmp/git-blob-2/y.c", "/home/me/project/y.c"}, 0, "y.c")}},
        // ...whose items carry no relative paths: the summary's paths place them, and a deleted
        // file's missing new side has no say.
        {partialChangeset,
         "project",
         {item({"/tmp/git-blob-1/x.c", "/home/me/project/src/x.c"}),
          item({"/tmp/git-blob-2/gone.c", "/dev/null"}, 2)},
         std::nullopt,
         {item({"src/x.c"}), item({"gone.c"})}},
        // One file of a difftool run: git's copy goes by the name of the file it copies.
        {diff, "x.c", {item({"/tmp/git-blob-1/x.c", "/home/me/project/src/x.c"})}},
        {diff, "x.c", {item({"/r/Ab12Cd_x.c", "/r/src/x.c"})}},
        // git difftool comparing two commits: both sides are git's copies of one file.
        {partialChangeset,
         "x.c and 1 more",
         {item({"/tmp/git-blob-1/x.c", "/tmp/git-blob-2/x.c"}),
          item({"/tmp/git-blob-3/y.c", "/tmp/git-blob-4/y.c"})},
         std::nullopt,
         {item({"x.c"}), item({"y.c"})}},
        // Items that share no folders: the first item's names, and how many more.
        {changeset,
         "p/a.c \u2194 q/a.c and 1 more",
         {item({"/p/a.c", "/q/a.c"}, 0, "a.c"), item({"/p/b.c", "/r/b.c"}, 0, "b.c")}},
    };
    for (const TitleCase& sample : cases) {
        CorvaneDocument document;
        document.kind = sample.kind;
        document.fileLists = sample.items;
        document.outputFile = sample.output;
        document.announcedFileLists = sample.announced;
        EXPECT_EQ(CorvaneDocumentTitle::titleOfDocument(document), sample.title);
    }
}

}  // namespace
