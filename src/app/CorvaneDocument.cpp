#include "app/CorvaneDocument.h"

#include "app/CorvaneJSON.h"

namespace {

std::string jsonForFileLists(const std::vector<CorvaneFileList>& fileLists) {
    std::string text = "[";
    for (const CorvaneFileList& fileList : fileLists) {
        if (text.size() > 1) {
            text += ',';
        }
        text += "{\"files\":[";
        for (size_t index = 0; index < fileList.files.size(); ++index) {
            text += (index > 0 ? "," : "") + CorvaneJSON::quoted(fileList.files[index]);
        }
        text += "],\"label\":" + CorvaneJSON::quotedOrNull(fileList.label);
        text += ",\"relativePath\":" + CorvaneJSON::quotedOrNull(fileList.relativePath);
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
    std::string text = "{\"GUID\":" + CorvaneJSON::quoted(GUID);
    text += ",\"kind\":" + CorvaneJSON::quoted(nameOfKind(kind));
    text += ",\"changeset\":" + CorvaneJSON::quotedOrNull(changesetIdentifier);
    text += ",\"label\":" + CorvaneJSON::quotedOrNull(label);
    text += ",\"fileLists\":" + jsonForFileLists(fileLists);
    text += ",\"announcedFileLists\":" + jsonForFileLists(announcedFileLists);
    text += ",\"outputFile\":" + CorvaneJSON::quotedOrNull(outputFile);
    text += ",\"baseFile\":" + CorvaneJSON::quotedOrNull(baseFile);
    text += ",\"parentPID\":" + std::to_string(parentPID);
    text += ",\"parentProcessName\":" + CorvaneJSON::quotedOrNull(parentProcessName);
    return text + "}";
}
