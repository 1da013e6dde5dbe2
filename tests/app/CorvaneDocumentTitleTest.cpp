// Tab titles: the names a person tells documents apart by.
#include <gtest/gtest.h>

#include "app/CorvaneDocumentTitle.h"

namespace {

CorvaneFileList item(std::vector<std::string> files, std::optional<std::string> relativePath,
                     int64_t status = 0) {
    CorvaneFileList list;
    list.files = std::move(files);
    list.relativePath = std::move(relativePath);
    list.status = status;
    return list;
}

TEST(ATabTitle, NamesFilesMergesAndTheFoldersAChangesetCompares) {
    struct TitleCase {
        CorvaneDocumentKind kind;
        std::vector<CorvaneFileList> items;
        std::optional<std::string> output;
        std::string title;
    };
    const TitleCase cases[] = {
        {CorvaneDocumentKind::diff,
         {item({"/a/old/x.c", "/a/new/x.c"}, {})},
         {},
         "old/x.c \u2194 new/x.c"},
        {CorvaneDocumentKind::merge,
         {item({"/r/x_LOCAL_7.c", "/r/x_REMOTE_7.c"}, {})},
         "/r/src/x.c",
         "x.c (merge)"},
        {CorvaneDocumentKind::changeset,
         {item({"/t/before/a/x.c", "/t/after/a/x.c"}, "a/x.c"),
          item({"/t/after/new.c"}, "new.c", 1), item({"/t/before/old.c"}, "old.c", 2)},
         {},
         "before \u2194 after"},
        // git difftool: temporary left sides, the work tree on the right.
        {CorvaneDocumentKind::partialChangeset,
         {item({"/tmp/git-blob-1/x.c", "/home/me/project/src/x.c"}, "src/x.c"),
          item({"/tmp/git-blob-2/y.c", "/home/me/project/y.c"}, "y.c")},
         {},
         "project"},
        // Items that share no folders: the first item's names, and how many more.
        {CorvaneDocumentKind::changeset,
         {item({"/p/a.c", "/q/a.c"}, "a.c"), item({"/p/b.c", "/r/b.c"}, "b.c")},
         {},
         "p/a.c \u2194 q/a.c and 1 more"},
    };
    for (const TitleCase& sample : cases) {
        CorvaneDocument document;
        document.kind = sample.kind;
        document.fileLists = sample.items;
        document.outputFile = sample.output;
        EXPECT_EQ(CorvaneDocumentTitle::titleOfDocument(document), sample.title);
    }
}

}  // namespace
