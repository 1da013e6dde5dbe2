#include "app/CorvaneDocument.h"

#include "app/CorvaneJSON.h"

namespace {

CorvaneJSON jsonForFileLists(const std::vector<CorvaneFileList>& fileLists) {
    CorvaneJSON lists = CorvaneJSON::array();
    for (const CorvaneFileList& fileList : fileLists) {
        lists.push_back({{"files", fileList.files},
                         {"temporary", fileList.temporary},
                         {"label", CorvaneJSONStringOrNull(fileList.label)},
                         {"relativePath", CorvaneJSONStringOrNull(fileList.relativePath)},
                         {"status", fileList.status}});
    }
    return lists;
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

CorvaneJSON CorvaneDocument::json() const {
    return {{"GUID", GUID},
            {"kind", nameOfKind(kind)},
            {"changeset", CorvaneJSONStringOrNull(changesetIdentifier)},
            {"label", CorvaneJSONStringOrNull(label)},
            {"fileLists", jsonForFileLists(fileLists)},
            {"announcedFileLists", jsonForFileLists(announcedFileLists)},
            {"outputFile", CorvaneJSONStringOrNull(outputFile)},
            {"baseFile", CorvaneJSONStringOrNull(baseFile)},
            {"parentPID", parentPID},
            {"parentProcessName", CorvaneJSONStringOrNull(parentProcessName)}};
}
