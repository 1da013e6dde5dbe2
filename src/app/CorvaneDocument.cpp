#include "app/CorvaneDocument.h"

#include "platform/CVJSON.h"

namespace {

std::string jsonForFileLists(const std::vector<CorvaneFileList>& fileLists) {
    std::string text = "[";
    for (const CorvaneFileList& fileList : fileLists) {
        if (text.size() > 1) {
            text += ',';
        }
        text += "{\"files\":[";
        for (size_t index = 0; index < fileList.files.size(); ++index) {
            text += (index > 0 ? "," : "") + CVJSONQuoted(fileList.files[index]);
        }
        text += "],\"temporary\":[";
        for (size_t index = 0; index < fileList.temporary.size(); ++index) {
            text +=
                std::string(index > 0 ? "," : "") + (fileList.temporary[index] ? "true" : "false");
        }
        text += "],\"label\":" + CVJSONQuotedOrNull(fileList.label);
        text += ",\"relativePath\":" + CVJSONQuotedOrNull(fileList.relativePath);
        text += ",\"status\":" + std::to_string(fileList.status) + "}";
    }
    return text + "]";
}

}  // namespace

const char* CorvaneDocument::nameOfKind(CorvaneDocumentKind kind) {
    switch (kind) {
        case CorvaneDocumentKind::diff:
            return "diff";
        case CorvaneDocumentKind::merge:
            return "merge";
        case CorvaneDocumentKind::changeset:
            return "changeset";
        case CorvaneDocumentKind::partialChangeset:
            return "partialChangeset";
    }
    return "diff";
}

std::string CorvaneDocument::json() const {
    std::string text = "{\"GUID\":" + CVJSONQuoted(GUID);
    text += ",\"kind\":" + CVJSONQuoted(nameOfKind(kind));
    text += ",\"changeset\":" + CVJSONQuotedOrNull(changesetIdentifier);
    text += ",\"label\":" + CVJSONQuotedOrNull(label);
    text += ",\"fileLists\":" + jsonForFileLists(fileLists);
    text += ",\"announcedFileLists\":" + jsonForFileLists(announcedFileLists);
    text += ",\"outputFile\":" + CVJSONQuotedOrNull(outputFile);
    text += ",\"baseFile\":" + CVJSONQuotedOrNull(baseFile);
    text += ",\"parentPID\":" + std::to_string(parentPID);
    text += ",\"parentProcessName\":" + CVJSONQuotedOrNull(parentProcessName);
    return text + "}";
}
