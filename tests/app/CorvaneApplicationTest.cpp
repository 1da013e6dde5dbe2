// The reference application, driven through a private bus as the tool and a person drive it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <functional>

#include "CVTestBed.h"
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

using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using json = nlohmann::json;

namespace {

namespace Contract = CVCorvaneContract;

std::shared_ptr<CVCLISerializedFileList> fileList(const std::string& left,
                                                  const std::string& right) {
    CVCLISerializedFileList::Files files;
    for (const std::string& path : {left, right}) {
        auto file = std::make_shared<CVCLISerializedFile>();
        file->setFilePath(path);
        files.push_back(file);
    }
    auto list = std::make_shared<CVCLISerializedFileList>();
    list->setFiles(files);
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
    auto outputFile = std::make_shared<CVCLISerializedFile>();
    outputFile->setFilePath(output);
    merge->setOutputFile(outputFile);
    auto invocation = std::make_shared<CVCLISerializedDiffInvocation>();
    invocation->setMerge(merge);
    invocation->setWaitForTabClose(true);
    return invocation;
}

// The answer of one GUIDForDocumentWithCVDiffInvocation call.
struct Answer {
    std::optional<std::string> GUID;
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
        CVBusObject<sd_bus_message> reply;
        sd_bus_error error{};
        Answer answer;
        EXPECT_GE(sd_bus_message_new_method_call(
                      bus, message.out(), Contract::kDistributedObjectsConnectionName,
                      Contract::kProxyObjectPath, Contract::kProxyInterface, member),
                  0);
        EXPECT_GE(append(message), 0);
        if (sd_bus_call(bus, message, 0, &error, reply.out()) >= 0) {
            if (std::string(member) == "GUIDForDocumentWithCVDiffInvocation") {
                EXPECT_GE(CVWireCoding::readStringOrNil(reply, &answer.GUID), 0);
            }
        } else {
            answer.errorName = error.name != nullptr ? error.name : "";
            answer.errorMessage = error.message != nullptr ? error.message : "";
        }
        sd_bus_error_free(&error);
        return answer;
    }

    Answer open(const CVCLISerializedObject& invocation) {
        return call("GUIDForDocumentWithCVDiffInvocation", [&](sd_bus_message* message) {
            return CVWireCoding::appendInvocation(message, invocation);
        });
    }

    std::string openGUID(const CVCLISerializedObject& invocation) {
        Answer answer = open(invocation);
        EXPECT_EQ(answer.errorMessage, "");
        return answer.GUID.value_or("");
    }

    void markClosed(const std::string& identifier) {
        call("markChangesetWithUUIDAsClosed", [&](sd_bus_message* message) {
            return sd_bus_message_append(message, "s", identifier.c_str());
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

TEST_F(ACorvaneApplication, OwnsItsNamesAndAnnouncesThatItFinishedLaunching) {
    EXPECT_TRUE(bed_.bus().nameHasOwner(Contract::kApplicationBundleIdentifier));
    EXPECT_TRUE(bed_.bus().nameHasOwner(Contract::kDistributedObjectsConnectionName));
    auto launched = bed_.bus().waitForNotification(Contract::kDidFinishLaunchingNotification);
    ASSERT_TRUE(launched);
    EXPECT_EQ(launched->object, std::nullopt);
    EXPECT_TRUE(bed_.waitForJournalEntry(
        {{"event", "notification"}, {"name", "CVCorvaneDidFinishLaunchingNotification"}}));
}

TEST_F(ACorvaneApplication, AnswersItsProcessIdentifierAndAuthorizationRequests) {
    CVBusObject<sd_bus_message> reply;
    ASSERT_GE(sd_bus_call_method(bed_.bus().get(), Contract::kDistributedObjectsConnectionName,
                                 Contract::kProxyObjectPath, Contract::kProxyInterface, "processID",
                                 nullptr, reply.out(), ""),
              0);
    int32_t processID = 0;
    sd_bus_message_read(reply, "i", &processID);
    EXPECT_EQ(processID, application_->processID());

    Answer answer = call("requestAuthorizationForPath", [](sd_bus_message* message) {
        return sd_bus_message_append(message, "s", "/");
    });
    EXPECT_EQ(answer.errorName, "");
    EXPECT_TRUE(bed_.waitForJournalEntry(
        {{"member", "requestAuthorizationForPath"}, {"arguments", json::array({"/"})}}));

    // A path that names nothing is answered too; the application says in its log, whatever the
    // debug setting, that it could share no grant.
    Answer missing = call("requestAuthorizationForPath", [](sd_bus_message* message) {
        return sd_bus_message_append(message, "s", "/no/such/file");
    });
    EXPECT_EQ(missing.errorName, "");
    EXPECT_EQ(bed_.quitApplication().status, 0);
    CVCommandResult ended = application_->wait();
    EXPECT_NE(ended.standardError.find(
                  "] Could not create the bookmark data for /no/such/file. Error "
                  "Domain=CVDiffErrorDomain Code=1 \"Cannot make a bookmark of \"/no/such/file\": "
                  "No such file or directory\""),
              std::string::npos)
        << ended.standardError;
}

TEST_F(ACorvaneApplication, OpensADocumentPerDiffAndListsIt) {
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
}

TEST_F(ACorvaneApplication, JournalsTheDecodedInvocationWithItsClassNamesAndTheReply) {
    std::string GUID = openGUID(*diffInvocation("/l", "/r"));
    auto entry = bed_.waitForJournalEntry({{"reply", GUID}});
    ASSERT_TRUE(entry);
    EXPECT_EQ((*entry)["member"], "GUIDForDocumentWithCVDiffInvocation");
    const json& invocation = (*entry)["invocation"];
    EXPECT_EQ(invocation["$class"], "CVCLISerializedDiffInvocation");
    EXPECT_EQ(invocation["parentProcessName"], "git");
    const json& fileList = invocation["fileList"];
    EXPECT_EQ(fileList["$class"], "CVCLISerializedFileList");
    EXPECT_EQ(fileList["files"][1]["filePath"], "/r");
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

TEST_F(ACorvaneApplication, GroupsTheItemsOfAChangesetIntoOneDocument) {
    std::string first = openGUID(*partialInvocation("UUID:a", "PID:1-2", "/1", "/2"));
    EXPECT_EQ(openGUID(*partialInvocation("UUID:a", "PID:9-9", "/3", "/4")), first);
    std::string other = openGUID(*partialInvocation("UUID:b", "PID:1-2", "/5", "/6"));
    EXPECT_NE(other, first);
    // Without a UUID the calling process names the changeset.
    std::string byProcess = openGUID(*partialInvocation(std::nullopt, "PID:7-8", "/7", "/8"));
    EXPECT_EQ(openGUID(*partialInvocation(std::nullopt, "PID:7-8", "/9", "/10")), byProcess);
    EXPECT_EQ(listedGUIDs(), (std::vector<std::string>{first, other, byProcess}));
}

TEST_F(ACorvaneApplication, LetsTheItemsOfASummarizedChangesetJoinTheSummary) {
    auto summary = std::make_shared<CVCLISerializedChangesetSummary>();
    summary->setUUIDForProcess("PID:3-4");
    summary->addFileList(fileList("/a", "/b"));
    auto invocation = std::make_shared<CVCLISerializedDiffInvocation>();
    invocation->setChangesetSummary(summary);
    std::string GUID = openGUID(*invocation);
    EXPECT_EQ(openGUID(*partialInvocation(std::nullopt, "PID:3-4", "/a", "/b")), GUID);
    EXPECT_TRUE(CVTestBed::hasMembers(bed_.documents()[0],
                                      {{"kind", "partialChangeset"}, {"changeset", "PID:3-4"}}));
}

TEST_F(ACorvaneApplication, OpensANewDocumentForItemsOfAChangesetMarkedAsClosedOrWhoseTabClosed) {
    std::string first = openGUID(*partialInvocation("UUID:a", std::nullopt, "/1", "/2"));
    markClosed("UUID:a");
    std::string second = openGUID(*partialInvocation("UUID:a", std::nullopt, "/3", "/4"));
    EXPECT_NE(second, first);
    EXPECT_EQ(listedGUIDs(), (std::vector<std::string>{first, second}));
    EXPECT_TRUE(bed_.waitForJournalEntry(
        {{"member", "markChangesetWithUUIDAsClosed"}, {"arguments", json::array({"UUID:a"})}}));

    bed_.closeTab(second);
    EXPECT_NE(openGUID(*partialInvocation("UUID:a", std::nullopt, "/5", "/6")), second);
}

TEST_F(ACorvaneApplication, PostsCloseTabForTheDocumentAndForgetsIt) {
    std::string GUID = openGUID(*diffInvocation("/l", "/r"));
    CVCommandResult closed = bed_.closeTab(GUID);
    EXPECT_EQ(closed.status, 0);
    auto notification = bed_.bus().waitForNotification(Contract::kCloseTabNotification, GUID);
    ASSERT_TRUE(notification);
    EXPECT_TRUE(notification->userInfo.empty());
    EXPECT_EQ(bed_.listDocuments().standardOutput, "[]\n");

    CVCommandResult again = bed_.closeTab(GUID);
    EXPECT_EQ(again.status, 1);
    EXPECT_EQ(again.standardError, "No open document has the GUID " + GUID + ".\n");
}

TEST_F(ACorvaneApplication, RemovesTheToolsCapturesWhenTheirTabClosesOrItQuits) {
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
}

TEST_F(ACorvaneApplication, WritesTheResolvedMergeAndReportsItBeforeClosingItsTab) {
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
}

TEST_F(ACorvaneApplication, ReportsAnUnresolvedMergeWithoutTouchingTheOutput) {
    TemporaryFolder folder;
    std::string output = folder.write("merged.txt", "untouched\n");
    std::string GUID = openGUID(*mergeInvocation(folder / "l", folder / "r", output));
    EXPECT_EQ(bed_.finishMerge(GUID, false).status, 0);
    EXPECT_TRUE(
        bed_.bus().waitForNotification(Contract::kMergeFinishedWithoutResolvingNotification, GUID));
    EXPECT_TRUE(bed_.bus().waitForNotification(Contract::kCloseTabNotification, GUID));
    EXPECT_EQ(readFile(output), "untouched\n");
}

TEST_F(ACorvaneApplication, RefusesToFinishADocumentThatIsNotAMerge) {
    std::string GUID = openGUID(*diffInvocation("/l", "/r"));
    CVCommandResult finished = bed_.finishMerge(GUID, true);
    EXPECT_EQ(finished.status, 1);
    EXPECT_EQ(finished.standardError, "The document " + GUID + " is not a merge.\n");
}

TEST_F(ACorvaneApplication, RunsOncePerSessionBus) {
    CVCommandResult second = bed_.runApplication({});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.standardError, "Corvane is already running.\n");
    EXPECT_EQ(bed_.applicationProcessID(), application_->processID());
}

TEST_F(ACorvaneApplication, ReleasesItsNamesAndExitsCleanlyOnTermination) {
    application_->signal(SIGTERM);
    CVCommandResult ended = application_->wait();
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.standardError, "");
    EXPECT_FALSE(bed_.bus().nameHasOwner(Contract::kApplicationBundleIdentifier));
    EXPECT_FALSE(bed_.bus().nameHasOwner(Contract::kDistributedObjectsConnectionName));
}

TEST_F(ACorvaneApplication, QuitsOnRequest) {
    EXPECT_EQ(bed_.quitApplication().status, 0);
    EXPECT_EQ(application_->wait().status, 0);
    CVCommandResult listing = bed_.listDocuments();
    EXPECT_EQ(listing.status, 1);
    EXPECT_EQ(listing.standardError, "Corvane is not running.\n");
}

}  // namespace
