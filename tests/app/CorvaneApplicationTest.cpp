// The reference application, driven through a private bus as the tool and a person drive it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <functional>

#include "CVTestBed.h"
#include "CVWaitUntil.h"
#include "TemporaryFolder.h"
#include "model/CVCLISerializedChangesetSummary.h"
#include "model/CVCLISerializedDiffInvocation.h"
#include "model/CVCLISerializedFile.h"
#include "model/CVCLISerializedFileList.h"
#include "model/CVCLISerializedMerge.h"
#include "model/CVCLISerializedPartialChangeset.h"
#include "model/CVWireCoding.h"
#include "platform/CVBookmark.h"
#include "platform/CVCorvaneContract.h"
#include "platform/CVSessionBus.h"

using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using json = nlohmann::json;

namespace {

namespace Contract = CVCorvaneContract;

std::shared_ptr<CVCLISerializedFile> file(const std::string& path) {
    auto file = std::make_shared<CVCLISerializedFile>();
    file->setFilePath(path);
    return file;
}

std::shared_ptr<CVCLISerializedFileList> fileList(const std::string& left,
                                                  const std::string& right) {
    auto list = std::make_shared<CVCLISerializedFileList>();
    list->addFile(file(left));
    list->addFile(file(right));
    return list;
}

std::shared_ptr<CVCLISerializedDiffInvocation> diffInvocation(const std::string& left,
                                                              const std::string& right) {
    auto invocation = std::make_shared<CVCLISerializedDiffInvocation>();
    invocation->setFileList(fileList(left, right));
    invocation->setParentPID(4242);
    invocation->setParentProcessName("git");
    return invocation;
}

std::shared_ptr<CVCLISerializedDiffInvocation> partialInvocation(
    const std::optional<std::string>& UUID, const std::optional<std::string>& UUIDForProcess,
    const std::string& left, const std::string& right) {
    auto partial = std::make_shared<CVCLISerializedPartialChangeset>();
    partial->setUUID(UUID);
    partial->setUUIDForProcess(UUIDForProcess);
    partial->setFileList(fileList(left, right));
    auto invocation = std::make_shared<CVCLISerializedDiffInvocation>();
    invocation->setPartialChangeset(partial);
    return invocation;
}

std::shared_ptr<CVCLISerializedDiffInvocation> mergeInvocation(const std::string& left,
                                                               const std::string& right,
                                                               const std::string& output) {
    auto merge = std::make_shared<CVCLISerializedMerge>();
    merge->setFileList(fileList(left, right));
    merge->setOutputFile(file(output));
    auto invocation = std::make_shared<CVCLISerializedDiffInvocation>();
    invocation->setMerge(merge);
    invocation->setWaitForTabClose(true);
    return invocation;
}

// The answer of one call of the proxy protocol.
struct Answer {
    CVBusObject<sd_bus_message> reply;
    std::optional<std::string> GUID;  // GUIDForDocumentWithCVDiffInvocation's
    std::string errorName;
    std::string errorMessage;
};

class ACorvaneApplication : public ::testing::Test {
protected:
    void SetUp() override {
        bed_.bus().observeNotifications();
        application_ = bed_.startApplication();
        ASSERT_NE(application_, nullptr) << readFile(bed_.journalPath());
    }

    // Calls the proxy protocol with arguments appended by the function.
    Answer call(const char* member, const std::function<int(sd_bus_message*)>& append) {
        sd_bus* bus = bed_.bus().get();
        CVBusObject<sd_bus_message> message;
        sd_bus_error error{};
        Answer answer;
        EXPECT_GE(sd_bus_message_new_method_call(
                      bus, message.out(), Contract::kDistributedObjectsConnectionName,
                      Contract::kProxyObjectPath, Contract::kProxyInterface, member),
                  0);
        EXPECT_GE(append(message), 0);
        if (sd_bus_call(bus, message, 0, &error, answer.reply.out()) < 0) {
            answer.errorName = error.name != nullptr ? error.name : "";
            answer.errorMessage = error.message != nullptr ? error.message : "";
        }
        sd_bus_error_free(&error);
        return answer;
    }

    Answer open(const CVCLISerializedObject& invocation) {
        Answer answer = call("GUIDForDocumentWithCVDiffInvocation", [&](sd_bus_message* message) {
            return CVWireCoding::appendInvocation(message, invocation);
        });
        if (answer.reply != nullptr) {
            EXPECT_GE(CVWireCoding::readStringOrNil(answer.reply, &answer.GUID), 0);
        }
        return answer;
    }

    std::string openGUID(const CVCLISerializedObject& invocation) {
        Answer answer = open(invocation);
        EXPECT_EQ(answer.errorMessage, "");
        return answer.GUID.value_or("");
    }

    Answer requestAuthorization(const char* path) {
        return call("requestAuthorizationForPath", [&](sd_bus_message* message) {
            return sd_bus_message_append(message, "s", path);
        });
    }

    // The listing's GUIDs in order.
    std::vector<std::string> listedGUIDs() {
        std::vector<std::string> GUIDs;
        for (const json& document : bed_.documents()) {
            GUIDs.push_back(document["GUID"]);
        }
        return GUIDs;
    }

    CVTestBed bed_;
    std::shared_ptr<CVTestProcess> application_;
};

TEST_F(ACorvaneApplication, OwnsItsNamesOncePerBusAnnouncesItsLaunchAndReleasesThemOnTermination) {
    EXPECT_TRUE(bed_.bus().nameHasOwner(Contract::kApplicationBundleIdentifier));
    EXPECT_TRUE(bed_.bus().nameHasOwner(Contract::kDistributedObjectsConnectionName));
    auto launched = bed_.bus().waitForNotification(Contract::kDidFinishLaunchingNotification);
    ASSERT_TRUE(launched);
    EXPECT_EQ(launched->object, std::nullopt);
    EXPECT_TRUE(bed_.waitForJournalEntry(
        {{"event", "notification"}, {"name", "CVCorvaneDidFinishLaunchingNotification"}}));

    CVCommandResult second = bed_.runApplication({});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.standardError, "Corvane is already running.\n");
    EXPECT_EQ(bed_.applicationProcessID(), application_->processID());

    application_->signal(SIGTERM);
    CVCommandResult ended = application_->wait();
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.standardError, "");
    EXPECT_FALSE(bed_.bus().nameHasOwner(Contract::kApplicationBundleIdentifier));
    EXPECT_FALSE(bed_.bus().nameHasOwner(Contract::kDistributedObjectsConnectionName));
}

TEST_F(ACorvaneApplication, TakesItsConnectionsNameBeforeItsOwnAndGivesItUpAfter) {
    // The tool relies on the order: an application seen owning its own name has its connection.
    std::vector<std::string> changes;
    auto record = [&changes](const char* name) {
        return [&changes, name](const std::string&, const std::string& newOwner) {
            changes.push_back((newOwner.empty() ? "released " : "took ") + std::string(name));
        };
    };
    sd_bus* bus = bed_.bus().get();
    CVBusNameOwnerWatch application(bus, Contract::kApplicationBundleIdentifier,
                                    record("application"));
    CVBusNameOwnerWatch connection(bus, Contract::kDistributedObjectsConnectionName,
                                   record("connection"));

    application_->signal(SIGTERM);
    EXPECT_EQ(application_->wait().status, 0);
    application_ = bed_.startApplication();
    ASSERT_NE(application_, nullptr);
    EXPECT_TRUE(CVWaitUntil([&] {
        bed_.bus().processPending();
        return changes.size() >= 4;
    }));
    EXPECT_EQ(changes, (std::vector<std::string>{"released application", "released connection",
                                                 "took connection", "took application"}));
}

TEST_F(ACorvaneApplication, AnswersItsProcessIdentifierAndAuthorizationRequests) {
    Answer identifier = call("processID", [](sd_bus_message*) { return 0; });
    int32_t processID = 0;
    ASSERT_GE(sd_bus_message_read(identifier.reply, "i", &processID), 0) << identifier.errorName;
    EXPECT_EQ(processID, application_->processID());

    EXPECT_EQ(requestAuthorization("/").errorName, "");
    EXPECT_TRUE(bed_.waitForJournalEntry(
        {{"member", "requestAuthorizationForPath"}, {"arguments", json::array({"/"})}}));

    // A path that names nothing is answered too; the application says in its log, whatever the
    // debug setting, that it could share no grant.
    EXPECT_EQ(requestAuthorization("/no/such/file").errorName, "");
    EXPECT_EQ(bed_.quitApplication().status, 0);
    CVCommandResult ended = application_->wait();
    EXPECT_NE(ended.standardError.find(
                  "] Could not create the bookmark data for /no/such/file. Error "
                  "Domain=CVDiffErrorDomain Code=1 \"Cannot make a bookmark of \"/no/such/file\": "
                  "No such file or directory\""),
              std::string::npos)
        << ended.standardError;
}

TEST_F(ACorvaneApplication, OpensADocumentPerDiffListsItAndJournalsTheDecodedCall) {
    std::string GUID = openGUID(*diffInvocation("/work/left.txt", "/work/right.txt"));
    EXPECT_THAT(GUID, MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-"
                                   "[0-9A-F]{12}"));
    EXPECT_NE(openGUID(*diffInvocation("/work/left.txt", "/work/right.txt")), GUID);

    json documents = bed_.documents();
    ASSERT_EQ(documents.size(), 2u);
    EXPECT_EQ(documents[0], json::parse(R"({"GUID":")" + GUID + R"(","kind":"diff",
        "changeset":null,"label":null,"fileLists":[{"files":["/work/left.txt","/work/right.txt"],
        "temporary":[false,false],"label":null,"relativePath":null,"status":0}],
        "announcedFileLists":[],"outputFile":null,"baseFile":null,"parentPID":4242,
        "parentProcessName":"git"})"));

    // The journal holds the invocation as decoded, with its class names, and the reply.
    auto entry = bed_.waitForJournalEntry({{"reply", GUID}});
    ASSERT_TRUE(entry);
    EXPECT_EQ((*entry)["member"], "GUIDForDocumentWithCVDiffInvocation");
    const json& invocation = (*entry)["invocation"];
    EXPECT_EQ(invocation["$class"], "CVCLISerializedDiffInvocation");
    EXPECT_EQ(invocation["fileList"]["files"][1]["filePath"], "/work/right.txt");
    EXPECT_EQ((*entry)["document"]["GUID"], GUID);
}

TEST_F(ACorvaneApplication, RefusesMalformedInvocationsWithTheReasonAndKeepsRunning) {
    Answer notARecord = call("GUIDForDocumentWithCVDiffInvocation", [](sd_bus_message* message) {
        return sd_bus_message_append(message, "v", "s", "hello");
    });
    EXPECT_EQ(notARecord.errorName, "com.corvane.Corvane.Error.InvalidInvocation");
    EXPECT_EQ(notARecord.errorMessage, "expected a record, found string");

    Answer unknownClass = call("GUIDForDocumentWithCVDiffInvocation", [](sd_bus_message* message) {
        return sd_bus_message_append(message, "v", "(sav)", "CVCLISerializedNothing", 0);
    });
    EXPECT_EQ(unknownClass.errorName, "com.corvane.Corvane.Error.InvalidInvocation");
    EXPECT_THAT(unknownClass.errorMessage, HasSubstr("CVCLISerializedNothing"));

    Answer fewValues = call("GUIDForDocumentWithCVDiffInvocation", [](sd_bus_message* message) {
        return sd_bus_message_append(message, "v", "(sav)", "CVCLISerializedDiffInvocation", 1, "g",
                                     "");
    });
    EXPECT_EQ(fewValues.errorMessage, "CVCLISerializedDiffInvocation: 1 values for 8 keys");

    EXPECT_EQ(open(*fileList("/l", "/r")).errorMessage,
              "The invocation is a CVCLISerializedFileList, not a CVCLISerializedDiffInvocation.");
    EXPECT_EQ(open(CVCLISerializedDiffInvocation()).errorMessage,
              "The invocation asks for nothing: it has no file list, changeset, partial "
              "changeset, changeset summary or merge.");

    EXPECT_TRUE(bed_.waitForJournalEntry({{"error", "expected a record, found string"}}));
    EXPECT_TRUE(application_->isRunning());
    EXPECT_TRUE(open(*diffInvocation("/l", "/r")).GUID);
}

TEST_F(ACorvaneApplication, GroupsTheItemsOfAChangesetIntoOneDocumentUntilItIsClosed) {
    std::string first = openGUID(*partialInvocation("UUID:a", "PID:1-2", "/1", "/2"));
    EXPECT_EQ(openGUID(*partialInvocation("UUID:a", "PID:9-9", "/3", "/4")), first);
    std::string other = openGUID(*partialInvocation("UUID:b", "PID:1-2", "/5", "/6"));
    EXPECT_NE(other, first);
    // Without a UUID the calling process names the changeset.
    std::string byProcess = openGUID(*partialInvocation(std::nullopt, "PID:7-8", "/7", "/8"));
    EXPECT_EQ(openGUID(*partialInvocation(std::nullopt, "PID:7-8", "/9", "/10")), byProcess);

    // The items of a summarized changeset join the summary.
    auto summary = std::make_shared<CVCLISerializedChangesetSummary>();
    summary->setUUIDForProcess("PID:3-4");
    summary->addFileList(fileList("/a", "/b"));
    auto invocation = std::make_shared<CVCLISerializedDiffInvocation>();
    invocation->setChangesetSummary(summary);
    std::string summarized = openGUID(*invocation);
    EXPECT_EQ(openGUID(*partialInvocation(std::nullopt, "PID:3-4", "/a", "/b")), summarized);
    EXPECT_EQ(listedGUIDs(), (std::vector<std::string>{first, other, byProcess, summarized}));
    EXPECT_TRUE(CVTestBed::hasMembers(bed_.documents()[3],
                                      {{"kind", "partialChangeset"}, {"changeset", "PID:3-4"}}));

    // A changeset marked as closed, or whose tab closed, takes its later items in a new document.
    call("markChangesetWithUUIDAsClosed",
         [](sd_bus_message* message) { return sd_bus_message_append(message, "s", "UUID:a"); });
    std::string reopened = openGUID(*partialInvocation("UUID:a", std::nullopt, "/11", "/12"));
    EXPECT_EQ(listedGUIDs(),
              (std::vector<std::string>{first, other, byProcess, summarized, reopened}));
    EXPECT_TRUE(bed_.waitForJournalEntry(
        {{"member", "markChangesetWithUUIDAsClosed"}, {"arguments", json::array({"UUID:a"})}}));
    bed_.closeTab(reopened);
    EXPECT_NE(openGUID(*partialInvocation("UUID:a", std::nullopt, "/13", "/14")), reopened);
}

TEST_F(ACorvaneApplication, PostsCloseTabForTheDocumentAndForgetsItButFinishesOnlyAMerge) {
    std::string GUID = openGUID(*diffInvocation("/l", "/r"));
    CVCommandResult finished = bed_.finishMerge(GUID, true);
    EXPECT_EQ(finished.status, 1);
    EXPECT_EQ(finished.standardError, "The document " + GUID + " is not a merge.\n");

    EXPECT_EQ(bed_.closeTab(GUID).status, 0);
    auto notification = bed_.bus().waitForNotification(Contract::kCloseTabNotification, GUID);
    ASSERT_TRUE(notification);
    EXPECT_TRUE(notification->userInfo.empty());
    EXPECT_EQ(bed_.listDocuments().standardOutput, "[]\n");

    CVCommandResult again = bed_.closeTab(GUID);
    EXPECT_EQ(again.status, 1);
    EXPECT_EQ(again.standardError, "No open document has the GUID " + GUID + ".\n");
}

TEST_F(ACorvaneApplication, RemovesTheToolsCapturesWhenTheirTabClosesOrItQuitsOnRequest) {
    TemporaryFolder folder;
    auto invocationOfCaptures = [&](const std::string& name) {
        auto invocation = diffInvocation(folder.write(name + ".left", "a\n"), folder / "kept");
        invocation->fileList()->files()->front()->setDeletedOnExit(true);
        return invocation;
    };
    folder.write("kept", "b\n");
    std::string closed = openGUID(*invocationOfCaptures("closed"));
    openGUID(*invocationOfCaptures("open"));
    EXPECT_EQ(bed_.closeTab(closed).status, 0);
    EXPECT_EQ(folderEntries(folder.path()), (std::vector<std::string>{"kept", "open.left"}));

    EXPECT_EQ(bed_.quitApplication().status, 0);
    EXPECT_EQ(application_->wait().status, 0);
    EXPECT_EQ(folderEntries(folder.path()), (std::vector<std::string>{"kept"}));
    CVCommandResult listing = bed_.listDocuments();
    EXPECT_EQ(listing.status, 1);
    EXPECT_EQ(listing.standardError, "Corvane is not running.\n");
}

TEST_F(ACorvaneApplication, WritesAResolvedMergeOnlyAndReportsTheOutcomeBeforeClosingItsTab) {
    TemporaryFolder folder;
    std::string left = folder.write("left.txt", "left\n");
    std::string right = folder.write("right.txt", "right\n");
    std::string output = folder / "merged.txt";
    std::string GUID = openGUID(*mergeInvocation(left, right, output));

    EXPECT_EQ(bed_.finishMerge(GUID, true).status, 0);
    EXPECT_EQ(readFile(output), "left\n");
    ASSERT_TRUE(bed_.bus().waitForNotification(Contract::kCloseTabNotification, GUID));
    std::vector<std::string> names;
    for (const CVReceivedNotification& notification : bed_.bus().notifications()) {
        if (notification.object == GUID) {
            names.push_back(notification.name);
        }
    }
    EXPECT_EQ(names, (std::vector<std::string>{Contract::kMergeFinishedByResolvingNotification,
                                               Contract::kCloseTabNotification}));

    std::string second = openGUID(*mergeInvocation(left, right, output));
    EXPECT_EQ(bed_.finishMerge(second, true, "right").status, 0);
    EXPECT_EQ(readFile(output), "right\n");

    // The tool sends the output path as typed, relative to its own working directory: the
    // bookmark leads to the file.
    auto relative = mergeInvocation(left, right, output);
    relative->merge()->outputFile()->setFilePath("merged.txt");
    relative->merge()->outputFile()->setURLBookmarkData(*CVBookmark::create(output, 0));
    EXPECT_EQ(bed_.finishMerge(openGUID(*relative), true).status, 0);
    EXPECT_EQ(readFile(output), "left\n");

    // Unresolved: reported, and the output is left as it was.
    writeFile(output, "untouched\n");
    std::string unresolved = openGUID(*mergeInvocation(left, right, output));
    EXPECT_EQ(bed_.finishMerge(unresolved, false).status, 0);
    EXPECT_TRUE(bed_.bus().waitForNotification(Contract::kMergeFinishedWithoutResolvingNotification,
                                               unresolved));
    EXPECT_TRUE(bed_.bus().waitForNotification(Contract::kCloseTabNotification, unresolved));
    EXPECT_EQ(readFile(output), "untouched\n");
}

}  // namespace
