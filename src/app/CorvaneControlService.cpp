#include "app/CorvaneControlService.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string_view>

#include "app/CorvaneApplication.h"
#include "app/CorvaneMerge.h"
#include "app/CorvaneNames.h"
#include "platform/CVCorvaneContract.h"
#include "platform/CVSealedFile.h"

namespace {

void recordCall(CorvaneApplication& application, const char* member,
                const CorvaneJSON& arguments = CorvaneJSON::array()) {
    application.recordCallWithArguments(CorvaneNames::kControlInterface, member, arguments);
}

int listDocuments(sd_bus_message* message, void* userdata, sd_bus_error*) {
    CorvaneApplication& application = CorvaneApplication::of(userdata);
    recordCall(application, "ListDocuments");
    CorvaneJSON listing = CorvaneJSON::array();
    for (const CorvaneDocument* document : application.documents().documentsInOpeningOrder()) {
        listing.push_back(document->json());
    }
    // A changeset of long paths outgrows what the bus carries in one message: the listing
    // travels in a sealed memory file, as a large invocation does.
    CVSealedFileWriter file;
    if (!file.isOpen() || !file.append(CorvaneJSONText(listing))) {
        return -errno;
    }
    int descriptor = file.seal();
    if (descriptor < 0) {
        return -errno;
    }
    int result = sd_bus_reply_method_return(message, "h", descriptor);
    close(descriptor);
    return result;
}

int noSuchDocument(sd_bus_error* error, const std::string& GUID) {
    std::string text = "No open document has the GUID " + GUID + ".";
    return sd_bus_error_set(error, CorvaneNames::kNoSuchDocumentError, text.c_str());
}

int closeTab(sd_bus_message* message, void* userdata, sd_bus_error* error) {
    const char* GUID = nullptr;
    int result = sd_bus_message_read(message, "s", &GUID);
    if (result < 0) {
        return result;
    }
    CorvaneApplication& application = CorvaneApplication::of(userdata);
    recordCall(application, "CloseTab", CorvaneJSON::array({GUID}));
    if (!application.closeTab(GUID)) {
        return noSuchDocument(error, GUID);
    }
    return sd_bus_reply_method_return(message, "");
}

// The path whose content becomes the merge's result; nothing, with the reason, when the
// document has no such side.
std::optional<std::string> resultSourcePath(const CorvaneDocument& document,
                                            const std::string& result, std::string* whyNot) {
    const std::vector<std::string>* sides =
        document.fileLists.empty() ? nullptr : &document.fileLists.front().files;
    if (result.empty() || result == "left" || result == "right") {
        size_t index = result == "right" ? 1 : 0;
        if (sides == nullptr || sides->size() <= index) {
            *whyNot = "The merge has no " + std::string(index == 0 ? "left" : "right") + " side.";
            return std::nullopt;
        }
        return (*sides)[index];
    }
    if (result == "base") {
        if (!document.baseFile) {
            *whyNot = "The merge has no base file.";
        }
        return document.baseFile;
    }
    return result;
}

// Copies the file's content over the output file, as a finished merge writes its result; false
// with the reason when either fails.
bool writeMergeResult(const std::string& sourcePath, const std::string& outputPath,
                      std::string* whyNot) {
    std::ifstream source(sourcePath, std::ios::binary);
    if (!source) {
        *whyNot = "Could not read " + sourcePath + ": " + strerror(errno) + ".";
        return false;
    }
    std::ostringstream content;
    content << source.rdbuf();
    return CorvaneWriteMergeOutput(outputPath, content.str(), whyNot);
}

int finishMerge(sd_bus_message* message, void* userdata, sd_bus_error* error) {
    const char* GUID = nullptr;
    int resolved = 0;
    const char* resultText = nullptr;
    int result = sd_bus_message_read(message, "sbs", &GUID, &resolved, &resultText);
    if (result < 0) {
        return result;
    }
    CorvaneApplication& application = CorvaneApplication::of(userdata);
    recordCall(application, "FinishMerge", CorvaneJSON::array({GUID, resolved != 0, resultText}));
    const CorvaneDocument* document = application.documents().documentWithGUID(GUID);
    if (document == nullptr) {
        return noSuchDocument(error, GUID);
    }
    if (document->kind != CorvaneDocumentKind::merge) {
        std::string text = "The document " + std::string(GUID) + " is not a merge.";
        return sd_bus_error_set(error, CorvaneNames::kNotAMergeError, text.c_str());
    }
    if (resolved) {
        std::string whyNot;
        auto sourcePath = resultSourcePath(*document, resultText, &whyNot);
        if (!document->outputFile) {
            whyNot = "The merge has no output file.";
        }
        if (!sourcePath || !document->outputFile ||
            !writeMergeResult(*sourcePath, *document->outputFile, &whyNot)) {
            return sd_bus_error_set(error, CorvaneNames::kMergeResultError, whyNot.c_str());
        }
    }
    application.postNotification(
        resolved ? CVCorvaneContract::kMergeFinishedByResolvingNotification
                 : CVCorvaneContract::kMergeFinishedWithoutResolvingNotification,
        std::string(GUID));
    application.closeTab(GUID);
    return sd_bus_reply_method_return(message, "");
}

// The window, or the error that says there is none.
CorvaneDocumentPresenter* windowOrError(CorvaneApplication& application, sd_bus_error* error) {
    if (application.presenter() == nullptr) {
        sd_bus_error_set(error, CorvaneNames::kNoWindowError, "Corvane runs without a window.");
    }
    return application.presenter();
}

int describeDocument(sd_bus_message* message, void* userdata, sd_bus_error* error) {
    const char* GUID = nullptr;
    int result = sd_bus_message_read(message, "s", &GUID);
    if (result < 0) {
        return result;
    }
    CorvaneApplication& application = CorvaneApplication::of(userdata);
    recordCall(application, "DescribeDocument", CorvaneJSON::array({GUID}));
    CorvaneDocumentPresenter* window = windowOrError(application, error);
    if (window == nullptr) {
        return -EINVAL;
    }
    auto description = window->describeDocument(GUID);
    if (!description) {
        return noSuchDocument(error, GUID);
    }
    return sd_bus_reply_method_return(message, "s", description->c_str());
}

int activateAction(sd_bus_message* message, void* userdata, sd_bus_error* error) {
    const char* GUID = nullptr;
    const char* action = nullptr;
    int result = sd_bus_message_read(message, "ss", &GUID, &action);
    if (result < 0) {
        return result;
    }
    CorvaneApplication& application = CorvaneApplication::of(userdata);
    recordCall(application, "ActivateAction", CorvaneJSON::array({GUID, action}));
    CorvaneDocumentPresenter* window = windowOrError(application, error);
    if (window == nullptr) {
        return -EINVAL;
    }
    // "window" names the window's own actions, which no document has.
    if (std::string_view(GUID) != "window" &&
        application.documents().documentWithGUID(GUID) == nullptr) {
        return noSuchDocument(error, GUID);
    }
    std::string whyNot;
    if (!window->activateAction(GUID, action, &whyNot)) {
        return sd_bus_error_set(error, CorvaneNames::kWindowError, whyNot.c_str());
    }
    return sd_bus_reply_method_return(message, "");
}

int saveScreenshot(sd_bus_message* message, void* userdata, sd_bus_error* error) {
    const char* path = nullptr;
    int result = sd_bus_message_read(message, "s", &path);
    if (result < 0) {
        return result;
    }
    CorvaneApplication& application = CorvaneApplication::of(userdata);
    recordCall(application, "SaveScreenshot", CorvaneJSON::array({path}));
    CorvaneDocumentPresenter* window = windowOrError(application, error);
    if (window == nullptr) {
        return -EINVAL;
    }
    std::string whyNot;
    if (!window->saveScreenshot(path, &whyNot)) {
        return sd_bus_error_set(error, CorvaneNames::kWindowError, whyNot.c_str());
    }
    return sd_bus_reply_method_return(message, "");
}

int quit(sd_bus_message* message, void* userdata, sd_bus_error*) {
    CorvaneApplication& application = CorvaneApplication::of(userdata);
    recordCall(application, "Quit");
    int result = sd_bus_reply_method_return(message, "");
    application.quit();
    return result;
}

const sd_bus_vtable kVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("ListDocuments", "", "h", listDocuments, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("CloseTab", "s", "", closeTab, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("FinishMerge", "sbs", "", finishMerge, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("Quit", "", "", quit, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("DescribeDocument", "s", "s", describeDocument, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("ActivateAction", "ss", "", activateAction, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("SaveScreenshot", "s", "", saveScreenshot, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

}  // namespace

namespace CorvaneControlService {

int add(sd_bus* bus, CorvaneApplication& application, sd_bus_slot** slot) {
    return sd_bus_add_object_vtable(bus, slot, CorvaneNames::kControlObjectPath,
                                    CorvaneNames::kControlInterface, kVtable, &application);
}

}  // namespace CorvaneControlService
