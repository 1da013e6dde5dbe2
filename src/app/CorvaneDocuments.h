#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "app/CorvaneDocument.h"

// The open documents and the changesets still open to new items. A partial-changeset item or a
// changeset summary joins the open document of its changeset; everything else opens a document
// of its own. Closed documents are forgotten.
class CorvaneDocuments {
public:
    // Opens a document for the request, or adds the request to its changeset's open document;
    // answers that document.
    const CorvaneDocument& openDocumentForRequest(CorvaneRequest request);
    // Later items of the changeset open a new document; its current document stays open.
    void closeChangeset(const std::string& identifier);
    // Removes the document; nothing when no open document has that GUID.
    std::optional<CorvaneDocument> removeDocument(const std::string& GUID);

    const CorvaneDocument* documentWithGUID(const std::string& GUID) const;
    // The open documents in the order they were opened.
    std::vector<const CorvaneDocument*> documentsInOpeningOrder() const;
    size_t count() const { return documents_.size(); }
    size_t openChangesetCount() const { return openChangesets_.size(); }

    // A fresh upper-case UUID string.
    static std::string makeGUID();

private:
    std::unordered_map<std::string, CorvaneDocument> documents_;
    // Changeset identifier -> GUID of the document that takes its next items.
    std::unordered_map<std::string, std::string> openChangesets_;
    uint64_t nextOpeningOrder_ = 0;
};
