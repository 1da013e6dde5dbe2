// The application's window under Xvfb, driven through its actions as a person drives it with
// keys, and read back through the control interface's description of a tab.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "CVTestBed.h"
#include "app/CorvaneComparison.h"
#include "app/view/CorvaneWrapping.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Pair;
using json = nlohmann::json;

namespace {

class ACorvaneWindow : public ::testing::Test {
protected:
    void SetUp() override {
        // An X server of the test's own: it picks a free display and names it once it listens.
        // Ended by a signal it can clean up after, so that it leaves no socket or lock behind.
        server_ = bed_.start(
            {"Xvfb", "-displayfd", "1", "-screen", "0", "1280x800x24", "-nolisten", "tcp"});
        std::string written;
        ASSERT_TRUE(CVWaitUntil([&] {
            written = server_->standardOutputSoFar();
            return written.find('\n') != std::string::npos;
        })) << "Xvfb did not come up";
        std::string display = ":" + written.substr(0, written.find('\n'));
        // The software renderer: no GPU under Xvfb.
        bed_.setEnvironment(
            {{"DISPLAY", display},
             {"GSK_RENDERER", "cairo"},
             {"GTK_A11Y", "none"},
             {"GDK_BACKEND", "x11"},
             {"GDK_DEBUG", "gl-disable"},
             // Under the leak checker: GTK's lifelong caches are not leaks.
             {"LSAN_OPTIONS",
              "fast_unwind_on_malloc=0:suppressions=" CVDIFF_SOURCE_DIR "/tests/app/lsan.supp"}});
        application_ = bed_.startApplication(std::chrono::seconds(20));
        ASSERT_TRUE(application_) << bed_.journal();
    }

    std::string write(const std::string& name, const std::string& content) {
        std::filesystem::path path = std::filesystem::path(bed_.workDirectory()) / name;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }

    // Opens a comparison the way the tool does and answers its GUID.
    std::string compare(const std::vector<std::string>& paths) {
        CVCommandResult result = bed_.runTool(paths);
        EXPECT_EQ(result.status, 0) << result.standardError;
        json listing = bed_.documents();
        return listing.empty() ? "" : listing.back()["GUID"].get<std::string>();
    }

    // Compares the work folder's before/ and after/ as a changeset; answers its GUID once the row
    // `settled` is listed (the identical pairs are found in the background), with the rows.
    std::string compareFolders(const std::string& settled, json* items) {
        std::string GUID = compare({"--changeset", "--filelist", bed_.workDirectory() + "/before",
                                    bed_.workDirectory() + "/after"});
        EXPECT_TRUE(CVWaitUntil(
            [&] {
                *items = describe(GUID)["items"];
                return items->dump().find(settled) != std::string::npos;
            },
            std::chrono::seconds(10)))
            << *items;
        return GUID;
    }

    json describe(const std::string& GUID) {
        CVCommandResult result = bed_.runApplication({"--describe", GUID});
        EXPECT_EQ(result.status, 0) << result.standardError;
        return result.status == 0 ? json::parse(result.standardOutput) : json::object();
    }

    // The tab's description once it shows its comparison.
    json shown(const std::string& GUID) {
        json description;
        EXPECT_TRUE(CVWaitUntil([&] {
            description = describe(GUID);
            return description.value("state", "") == "shown";
        })) << description.dump();
        return description;
    }

    void activate(const std::string& GUID, const std::string& action) {
        CVCommandResult result = bed_.runApplication({"--activate", GUID, action});
        EXPECT_EQ(result.status, 0) << result.standardError;
    }

    static json tints(const json& pane) {
        json kinds = json::array();
        for (const json& tint : pane["tinted"]) {
            kinds.push_back({tint["kind"], tint["start"], tint["count"]});
        }
        return kinds;
    }

    void TearDown() override {
        if (application_) {
            application_->signal(SIGKILL);
            application_->wait(std::chrono::seconds(5));
        }
        if (server_) {
            server_->signal(SIGTERM);
            server_->wait(std::chrono::seconds(5));
        }
    }

    CVTestBed bed_;
    std::shared_ptr<CVTestProcess> server_;
    std::shared_ptr<CVTestProcess> application_;
};

TEST_F(ACorvaneWindow, ShowsTwoFilesAlignedWithTheirChangesTintedAndWalksThem) {
    std::string left = write("old/list.cpp", "one\ntwo\nthree\nfour\nfive\nsix\n");
    std::string right = write("new/list.cpp", "one\nthree\nfour\nFIVE 5\nsix\nseven\n");
    std::string GUID = compare({left, right});
    json tab = shown(GUID);

    EXPECT_EQ(tab["title"], "old/list.cpp \u2194 new/list.cpp");
    EXPECT_EQ(tab["windowTitle"], "old/list.cpp \u2194 new/list.cpp \u2014 Corvane");
    EXPECT_EQ(tab["changeCount"], 3);
    EXPECT_EQ(tab["status"], "3 changes");
    const json& panes = tab["panes"];
    ASSERT_EQ(panes.size(), 2u);
    EXPECT_EQ(panes[0]["header"], left);
    EXPECT_EQ(panes[0]["firstLines"], json({"one", "two", "three"}));
    EXPECT_EQ(panes[1]["firstLines"], json({"one", "three", "four"}));
    EXPECT_EQ(panes[0]["language"], "cpp");
    EXPECT_EQ(tints(panes[0]), json({{"deleted", 1, 1}, {"changed", 4, 1}}));
    EXPECT_EQ(tints(panes[1]), json({{"changed", 3, 1}, {"inserted", 5, 1}}));
    // "five" against "FIVE 5": the words are marked, not only the line.
    EXPECT_GT(panes[0]["highlightedSpans"], 0);
    EXPECT_GT(panes[1]["highlightedSpans"], 0);
    // Each side gets filler for the line only the other has.
    EXPECT_GT(panes[0]["fillerPixels"], 0);
    EXPECT_GT(panes[1]["fillerPixels"], 0);

    activate(GUID, "next-change");
    activate(GUID, "next-change");
    EXPECT_EQ(describe(GUID)["status"], "Change 2 of 3");
    activate(GUID, "last-change");
    EXPECT_EQ(describe(GUID)["currentChange"], 2);
    activate(GUID, "first-change");
    EXPECT_EQ(describe(GUID)["currentChange"], 0);

    std::string screenshot = bed_.workDirectory() + "/window.png";
    ASSERT_EQ(bed_.runApplication({"--screenshot", screenshot}).status, 0);
    std::ifstream png(screenshot, std::ios::binary);
    std::string signature(8, '\0');
    png.read(signature.data(), 8);
    EXPECT_EQ(signature, "\x89PNG\r\n\x1a\n");

    activate(GUID, "close-tab");
    EXPECT_TRUE(bed_.waitForJournalEntry({{"name", "CVCloseTabNotification"}, {"object", GUID}}));
    EXPECT_EQ(bed_.listDocuments().standardOutput, "[]\n");
    EXPECT_EQ(bed_.runApplication({"--describe", GUID}).status, 1);
}

TEST_F(ACorvaneWindow, ShowsTextsTooLargeForASourceViewInPlainPanesWithTheSameMarks) {
    // Past 200,000 lines, and a line of 100 KB: plain panes, drawn from the text.
    std::string many;
    for (int line = 0; line < 200005; ++line) {
        many += "line " + std::to_string(line) + "\n";
    }
    std::string changed = many;
    changed.replace(changed.find("line 150000\n"), 11, "line 150000 changed");
    std::string wide(100000, 'w');
    struct LargeCase {
        std::string left, right;
        int changedLine;
    };
    const LargeCase cases[] = {{many, changed, 150000}, {wide + "\n", wide + "x\n", 0}};
    int number = 0;
    for (const LargeCase& sample : cases) {
        ++number;
        std::string GUID = compare({write("large-l" + std::to_string(number), sample.left),
                                    write("large-r" + std::to_string(number), sample.right)});
        json tab = shown(GUID);
        EXPECT_EQ(tab["panes"][0]["large"], true) << number;
        EXPECT_EQ(tab["panes"][0]["notice"], "Large text: shown plain") << number;
        EXPECT_EQ(tab["changeCount"], 1) << number;
        EXPECT_EQ(tints(tab["panes"][1]), json({{"changed", sample.changedLine, 1}})) << number;
        EXPECT_GT(tab["panes"][1]["highlightedSpans"], 0) << number;
        activate(GUID, "next-change");
        EXPECT_EQ(describe(GUID)["status"], "Change 1 of 1") << number;
    }
}

TEST_F(ACorvaneWindow, NamesAComparisonOfFoldersAfterThemAndFindsItsIdenticalPairs) {
    write("before/same.txt", "same\n");
    write("after/same.txt", "same\n");
    write("before/edited.txt", "old\n");
    write("after/edited.txt", "new\n");
    write("after/added.txt", "new\n");
    json items;
    std::string GUID = compareFolders("= same.txt (identical)", &items);
    EXPECT_EQ(items,
              json({"A added.txt (added)", "M edited.txt (modified)", "= same.txt (identical)"}));
    EXPECT_EQ(describe(GUID)["title"], "before \u2194 after");

    // Two folders given as they are (git difftool --dir-diff does so): paired in the window.
    std::string folders =
        compare({bed_.workDirectory() + "/before", bed_.workDirectory() + "/after"});
    EXPECT_TRUE(
        CVWaitUntil([&] { return describe(folders)["items"] == items; }, std::chrono::seconds(10)))
        << describe(folders);
    EXPECT_EQ(describe(folders)["title"], "before \u2194 after");
}

TEST_F(ACorvaneWindow, AsksThePersonBeforeASandboxedToolMayReadFiles) {
    bed_.setEnvironment({{"APP_SANDBOX_CONTAINER_ID", "com.corvane.Corvane.cvdiff"}});
    std::string left = write("sandboxed/a", "a\n");
    std::string right = write("sandboxed/b", "b\n");
    // The tool waits while the dialog is up; the person's answer is given through the window's
    // own actions, as its buttons would.
    for (const char* answer : {"deny-file-access", "allow-file-access"}) {
        auto tool = bed_.startTool({left, right});
        EXPECT_TRUE(CVWaitUntil(
            [&] {
                return bed_.runApplication({"--activate", "window", answer}).status == 0;
            },
            std::chrono::seconds(10)))
            << answer;
        CVCommandResult result = tool->wait(std::chrono::seconds(30));
        bool allowed = std::string(answer) == "allow-file-access";
        EXPECT_EQ(result.status, allowed ? 0 : 1) << result.standardError;
        EXPECT_EQ(result.standardOutput, "Please allow file access for cvdiff in Corvane.\n" +
                                             std::string(allowed ? "File access allowed for \"/\"\n"
                                                                 : "File access was denied\n"));
    }
    EXPECT_NE(bed_.runApplication({"--activate", "window", "allow-file-access"}).status, 0)
        << "nobody asks any more";
}

TEST(WrappedRows, FollowTheColumnsOfEachLine) {
    struct RowCase {
        std::string text;
        int columns;
        std::vector<int> starts;
    };
    const RowCase cases[] = {
        {"abcd\n\nabcdefghi\n", 4, {0, 1, 2, 5}},     // exactly full, empty, over two rows
        {"\tx\n", 8, {0, 2}},                         // a tab runs to column 8
        {"\xe6\xbc\xa2\xe5\xad\x97\r\n", 3, {0, 2}},  // two wide characters, CR LF
        {"last without a line feed", 100, {0, 1}},
    };
    for (const RowCase& sample : cases) {
        EXPECT_EQ(
            CorvaneWrappedRowStarts(sample.text, CorvaneLineStarts(sample.text), sample.columns),
            sample.starts)
            << sample.text;
    }
}

TEST_F(ACorvaneWindow, KeepsWrappedLinesAlignedByTheRowsTheyTake) {
    std::string GUID =
        compare({write("wide-left.txt", "short\n" + std::string(400, 'a') + "\nend\n"),
                 write("wide-right.txt", "short\nbrief\nend\n")});
    json tab = shown(GUID);
    EXPECT_EQ(tab["panes"][1]["fillerPixels"], 0);
    // The rows a line wraps into follow from the panes' width, which a window being mapped may
    // still change: the filler settles once the window has its size.
    activate(GUID, "wrap-lines");
    EXPECT_TRUE(CVWaitUntil([&] {
        tab = shown(GUID);
        return tab["panes"][1]["fillerPixels"] > 0;
    })) << tab.dump();
    EXPECT_EQ(tab["options"]["wrapLines"], true);
    EXPECT_EQ(tab["panes"][0]["fillerPixels"], 0);
    activate(GUID, "wrap-lines");
    EXPECT_EQ(shown(GUID)["panes"][1]["fillerPixels"], 0);
}

TEST_F(ACorvaneWindow, SaysPlainlyWhatItCannotShowAsADiff) {
    struct Case {
        std::string left, right;
        std::string status;
        std::string notice;
        std::vector<std::string> message = {};
    };
    std::string binary("\177ELF\0\0\1", 7);
    binary.resize(1233, 'x');
    std::vector<Case> cases = {
        {"a\nb\n", "a\nb\n", "Files are identical", ""},
        {binary,
         binary + "x",
         "",
         "",
         {"Binary files differ\n", "l2: 1,233 bytes", "r2: 1,234 bytes"}},
        {"caf\xe9\n", "caf\xe9!\n", "1 change", "Not UTF-8: shown as Latin-1"},
    };
    int number = 0;
    for (const Case& sample : cases) {
        ++number;
        std::string GUID = compare({write("l" + std::to_string(number), sample.left),
                                    write("r" + std::to_string(number), sample.right)});
        json tab = shown(GUID);
        EXPECT_EQ(tab["status"], sample.status) << number;
        for (const std::string& part : sample.message) {
            EXPECT_THAT(tab["message"].get<std::string>(), HasSubstr(part)) << number;
        }
        EXPECT_EQ(tab["panes"][0]["notice"], sample.notice) << number;
    }
    // A final line end closes the last line and numbers none of its own; where only one side
    // has it, the other says so (its last line differs for no visible reason otherwise).
    json ends = shown(compare({write("ends.txt", "a\r\nb\r\n"), write("open.txt", "a\r\nb")}));
    EXPECT_EQ(ends["panes"][0]["shownLines"], 2);
    EXPECT_EQ(ends["panes"][1]["shownLines"], 2);
    EXPECT_EQ(ends["panes"][0]["notice"], "CRLF line ends");
    EXPECT_EQ(ends["panes"][1]["notice"], "CRLF line ends \u00b7 No newline at end of file");

    // A side removed right after the call is still read: the document holds it open.
    std::string gone = write("gone.txt", "still here\n");
    std::string kept = compare({gone, write("kept.txt", "other\n")});
    unlink(gone.c_str());
    EXPECT_EQ(shown(kept)["panes"][0]["firstLines"][0], "still here");

    // A side that cannot be read as a file: the reason in the tab.
    std::string GUID = compare({write("plain.txt", "x\n"), "/dev/zero"});
    EXPECT_THAT(shown(GUID)["message"].get<std::string>(), HasSubstr("(a device)"));

    // /dev/null stands for a deleted (or added) file: its lines against no file.
    json deleted = shown(compare({write("deleted.txt", "x\ny\n"), "/dev/null"}));
    EXPECT_EQ(deleted["panes"][1]["header"], "No file");
    EXPECT_EQ(deleted["panes"][1]["notice"], "No file on this side");
    EXPECT_EQ(deleted["panes"][0]["tinted"],
              json::parse(R"([{"kind":"deleted","start":0,"count":2}])"));
}

TEST_F(ACorvaneWindow, IgnoresLineEndsUnderIgnoreWhitespaceAndClosesEveryTabWithTheWindow) {
    std::string GUID = compare({write("dos.txt", "a\r\nb\r\n"), write("unix.txt", "a\nb\n")});
    json tab = shown(GUID);
    EXPECT_EQ(tab["changeCount"], 1);
    EXPECT_EQ(tab["panes"][0]["notice"], "CRLF line ends");
    activate(GUID, "ignore-whitespace");
    tab = shown(GUID);
    EXPECT_EQ(tab["options"]["ignoreWhitespace"], true);
    EXPECT_EQ(tab["status"], "Files are identical");

    std::string second = compare({write("x.txt", "x\n"), write("y.txt", "y\n")});
    activate(second, "close-window");
    for (const std::string& closed : {GUID, second}) {
        EXPECT_TRUE(
            bed_.waitForJournalEntry({{"name", "CVCloseTabNotification"}, {"object", closed}}));
    }
    EXPECT_TRUE(bed_.waitForJournalEntry({{"event", "quit"}}));
    // It ends by itself, cleanly (under the sanitizers: without leaks).
    EXPECT_EQ(application_->wait().status, 0) << application_->wait().standardError;
}

TEST_F(ACorvaneWindow, BringsAConflictFarDownIntoEveryPaneAndKeepsAChoiceInView) {
    // A hundred lines; the sides disagree on line 71, on line 91 and on the last line.
    std::string base;
    std::string left;
    std::string right;
    for (int line = 1; line <= 100; ++line) {
        std::string same = "line " + std::to_string(line) + "\n";
        bool conflict = line == 71 || line == 91 || line == 100;
        base += same;
        left += conflict ? "ours " + same : same;
        right += conflict ? "theirs " + same : same;
    }
    std::string output = bed_.workDirectory() + "/merged.txt";
    auto tool = bed_.startTool({"--merge", "--output", output, "--base", write("base.txt", base),
                                write("left.txt", left), write("right.txt", right)});
    std::string GUID = bed_.waitForNewestDocument()["GUID"];

    // Whether every pane shows the whole conflict: its line in each side (counted from 0), its
    // lines in the result (seven with git's markers, one once a side is taken).
    auto everyPaneShows = [&](int sideLine, int resultLine, int resultLines) {
        json panes;
        bool shows = CVWaitUntil([&] {
            panes = describe(GUID)["mergePanes"];
            for (const json& pane : panes) {
                bool result = pane["role"] == "Result";
                int first = result ? resultLine : sideLine;
                int last = first + (result ? resultLines : 1) - 1;
                if (pane["visibleLines"][0] > first || pane["visibleLines"][1] < last) {
                    return false;
                }
            }
            return !panes.empty();
        });
        EXPECT_TRUE(shows) << panes.dump();
    };
    everyPaneShows(70, 70, 7);
    activate(GUID, "take-left");
    everyPaneShows(70, 70, 1);  // the result, written again, still shows the choice
    activate(GUID, "next-conflict");
    everyPaneShows(90, 90, 7);
    // At the end of the file, where the sides end six lines before the result does.
    activate(GUID, "next-conflict");
    everyPaneShows(99, 105, 7);
    // Each pane numbers the file's lines and no more: a final line end opens no empty line.
    std::vector<int> lineCounts;
    json panes = describe(GUID)["mergePanes"];
    for (const json& pane : panes) {
        lineCounts.push_back(pane["lineCount"]);
    }
    EXPECT_EQ(lineCounts, std::vector<int>({100, 100, 100, 112}));

    tool->signal(SIGTERM);
    tool->wait(std::chrono::seconds(10));
}

TEST_F(ACorvaneWindow, WalksTheItemsOfAChangesetPastThoseFoundIdentical) {
    for (const char* name : {"a.txt", "b.txt", "c.txt", "d.txt"}) {
        write(std::string("before/") + name, "same\n");
        bool changed = name[0] == 'b' || name[0] == 'd';
        write(std::string("after/") + name, changed ? "other\n" : "same\n");
    }
    json items;
    std::string GUID = compareFolders("= c.txt (identical)", &items);
    ASSERT_EQ(items, json({"= a.txt (identical)", "M b.txt (modified)", "= c.txt (identical)",
                           "M d.txt (modified)"}));
    activate(GUID, "next-item");
    EXPECT_EQ(describe(GUID)["selectedItem"], 1);  // b.txt: a.txt is identical
    activate(GUID, "next-change");
    EXPECT_EQ(describe(GUID)["status"], "Change 1 of 1");
    activate(GUID, "next-item");
    EXPECT_EQ(describe(GUID)["selectedItem"], 3);  // d.txt, past c.txt
    activate(GUID, "previous-item");
    EXPECT_EQ(describe(GUID)["selectedItem"], 1);
}

// Real git runs against the window: a merge resolved by a person's choice, one left unresolved,
// and a difftool run of several files in one tab.
class ACorvaneWindowWithGit : public ACorvaneWindow {
protected:
    std::string repository;

    void SetUp() override {
        ACorvaneWindow::SetUp();
        repository = bed_.workDirectory() + "/repository";
        std::filesystem::create_directories(repository);
        bed_.setEnvironment(kCVVersionControlIdentity);
        // git finds the built cvdiff by name.
        bed_.setEnvironment({{"PATH", bed_.bundlePath() + "/Contents/MacOS:/usr/bin:/bin"}});
        shell(
            "git init -q . && git config mergetool.cvdiff.cmd "
            "'cvdiff --merge --output \"$MERGED\" --base \"$BASE\" \"$LOCAL\" \"$REMOTE\"' && "
            "git config mergetool.cvdiff.trustExitCode true && git config mergetool.keepBackup "
            "false");
    }

    CVCommandResult shell(const std::string& script) {
        CVCommandResult result =
            bed_.run({"sh", "-c", script},
                     {.workingDirectory = repository, .deadline = std::chrono::seconds(60)});
        EXPECT_EQ(result.status, 0) << script << "\n" << result.standardError;
        return result;
    }

    // git mergetool on a conflict on the one line both branches changed, and a change only theirs
    // made; answers the GUID of the merge's tab.
    std::shared_ptr<CVTestProcess> startMergetool(std::string* GUID) {
        shell(
            "printf 'a\\nb\\nc\\nd\\n' > f.txt && git add f.txt && git commit -qm base && "
            "git checkout -qb other && printf 'a\\nTHEIRS\\nc\\nD\\n' > f.txt && "
            "git commit -qam theirs && "
            "git checkout -q - && printf 'a\\nOURS\\nc\\nd\\n' > f.txt && git commit -qam ours && "
            "(git merge -q other || true)");
        auto mergetool =
            bed_.start({"git", "mergetool", "--tool=cvdiff"}, {.workingDirectory = repository});
        *GUID = bed_.waitForNewestDocument()["GUID"];
        return mergetool;
    }
};

TEST_F(ACorvaneWindowWithGit, ResolvesAGitMergeByTakingASideAndGitRecordsIt) {
    std::string GUID;
    auto mergetool = startMergetool(&GUID);
    // Every pane tints the open conflict; theirs' own change shows in theirs and the base only;
    // the result holds git's markers around the conflict and theirs' change already taken.
    auto tinted = [](const json& panes) {
        std::vector<std::pair<std::string, json>> shown;
        for (const json& pane : panes) {
            shown.emplace_back(pane["role"], tints(pane));
        }
        return shown;
    };
    json conflict = {"current-conflict", 1, 1};
    json theirs = {"change", 3, 1};
    EXPECT_THAT(
        tinted(shown(GUID)["mergePanes"]),
        ElementsAre(Pair("Left", json::array({conflict})),
                    Pair("Base", json::array({conflict, theirs})),
                    Pair("Right", json::array({conflict, theirs})),
                    Pair("Result", json::array({{"current-conflict", 1, 7}, {"change", 9, 1}}))));
    activate(GUID, "take-left");
    EXPECT_THAT(tinted(describe(GUID)["mergePanes"]).back(),
                Pair("Result", json::array({{"current-decided", 1, 1}, {"change", 3, 1}})));
    activate(GUID, "resolve");
    CVCommandResult result = mergetool->wait(std::chrono::seconds(30));
    EXPECT_EQ(result.status, 0) << result.standardError;
    EXPECT_EQ(readFile(repository + "/f.txt"), "a\nOURS\nc\nD\n");
    EXPECT_EQ(shell("git diff --name-only --diff-filter=U").standardOutput, "");
}

TEST_F(ACorvaneWindowWithGit, LeavesTheConflictInPlaceWhenTheMergeIsClosedUnresolved) {
    std::string GUID;
    auto mergetool = startMergetool(&GUID);
    activate(GUID, "close-tab");  // nothing chosen: closes without asking
    CVCommandResult result = mergetool->wait(std::chrono::seconds(30));
    EXPECT_NE(result.status, 0);
    EXPECT_EQ(shell("git diff --name-only --diff-filter=U").standardOutput, "f.txt\n");
}

TEST_F(ACorvaneWindowWithGit, ShowsAWholeDifftoolRunInOneTabWithEveryFilesStatus) {
    shell(
        "printf 'one\\n' > kept.txt && printf 'old\\n' > gone.txt && printf 'x\\n' > moved.txt && "
        "git add -A && git commit -qm one && printf 'two\\n' > kept.txt && git rm -q gone.txt && "
        "git mv moved.txt renamed.txt && printf 'new\\n' > added.txt && git add -A && "
        "git -c difftool.cvdiff.cmd='cvdiff --partial-changeset \"$LOCAL\" \"$REMOTE\"' "
        "difftool -y --tool=cvdiff --cached -M");
    std::string GUID = bed_.waitForNewestDocument()["GUID"];
    ASSERT_EQ(bed_.documents().size(), 1u);
    json description = describe(GUID);
    std::string text = description.dump();
    for (const char* row : {"M kept.txt (modified)", "D gone.txt (deleted)", "A added.txt (added)",
                            "R moved.txt -> renamed.txt (renamed)"}) {
        EXPECT_NE(text.find(row), std::string::npos) << row << " in " << text;
    }
    // Named after the work tree, not git's copies; open on the first item without a click.
    EXPECT_EQ(description["title"], "repository");
    EXPECT_EQ(description["selectedItem"], 0) << text;
}

}  // namespace
