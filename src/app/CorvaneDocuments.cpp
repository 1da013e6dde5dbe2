#include "app/CorvaneDocuments.h"

#include <systemd/sd-id128.h>

#include <algorithm>
#include <cctype>
#include <iterator>

namespace {

void addRequestToDocument(CorvaneRequest& request, CorvaneDocument& document) {
    auto& destination =
        request.isChangesetSummary ? document.announcedFileLists : document.fileLists;
    if (destination.empty()) {
        destination = std::move(request.fileLists);
    } else {
        destination.insert(destination.end(), std::make_move_iterator(request.fileLists.begin()),
                           std::make_move_iterator(request.fileLists.end()));
    }
    if (!document.label && request.label) {
        document.label = std::move(request.label);
    }
}

}  // namespace

std::string CorvaneDocuments::makeGUID() {
    sd_id128_t identifier{};
    sd_id128_randomize(&identifier);
    char text[SD_ID128_UUID_STRING_MAX];
    std::string GUID = sd_id128_to_uuid_string(identifier, text);
    std::transform(GUID.begin(), GUID.end(), GUID.begin(),
                   [](unsigned char character) { return std::toupper(character); });
    return GUID;
}

const CorvaneDocument& CorvaneDocuments::openDocumentForRequest(CorvaneRequest request) {
    bool joinsChangeset = request.kind == CorvaneDocumentKind::partialChangeset &&
                          request.changesetIdentifier.has_value();
    if (joinsChangeset) {
        auto open = openChangesets_.find(*request.changesetIdentifier);
        if (open != openChangesets_.end()) {
            CorvaneDocument& document = documents_.at(open->second);
            addRequestToDocument(request, document);
            return document;
        }
    }
    CorvaneDocument document;
    document.GUID = makeGUID();
    document.openingOrder = nextOpeningOrder_++;
    document.kind = request.kind;
    document.changesetIdentifier = request.changesetIdentifier;
    document.outputFile = std::move(request.outputFile);
    document.baseFile = std::move(request.baseFile);
    document.parentPID = request.parentPID;
    document.parentProcessName = std::move(request.parentProcessName);
    addRequestToDocument(request, document);
    if (joinsChangeset) {
        openChangesets_[*document.changesetIdentifier] = document.GUID;
    }
    std::string GUID = document.GUID;
    return documents_.emplace(GUID, std::move(document)).first->second;
}

void CorvaneDocuments::closeChangeset(const std::string& identifier) {
    openChangesets_.erase(identifier);
}

std::optional<CorvaneDocument> CorvaneDocuments::removeDocument(const std::string& GUID) {
    auto found = documents_.find(GUID);
    if (found == documents_.end()) {
        return std::nullopt;
    }
    CorvaneDocument document = std::move(found->second);
    documents_.erase(found);
    if (document.changesetIdentifier) {
        auto open = openChangesets_.find(*document.changesetIdentifier);
        if (open != openChangesets_.end() && open->second == GUID) {
            openChangesets_.erase(open);
        }
    }
    return document;
}

const CorvaneDocument* CorvaneDocuments::documentWithGUID(const std::string& GUID) const {
    auto found = documents_.find(GUID);
    return found == documents_.end() ? nullptr : &found->second;
}

std::vector<const CorvaneDocument*> CorvaneDocuments::documentsInOpeningOrder() const {
    std::vector<const CorvaneDocument*> result;
    result.reserve(documents_.size());
    for (const auto& entry : documents_) {
        result.push_back(&entry.second);
    }
    std::sort(result.begin(), result.end(), [](const auto* left, const auto* right) {
        return left->openingOrder < right->openingOrder;
    });
    return result;
}
