#include "model/CVCLISerializedChangesetSummary.h"

#include "model/CVCLISerializedFile.h"
#include "model/CVCLISerializedFileList.h"
#include "model/CVCodedMember.h"

namespace {

// The length of the line end at the position, 0 when there is none there.
size_t lineEndLength(std::string_view text, size_t position) {
    unsigned char byte = text[position];
    if (byte == '\n') {
        return 1;
    }
    if (byte == '\r') {
        return position + 1 < text.size() && text[position + 1] == '\n' ? 2 : 1;
    }
    if (byte == 0xC2 && text.substr(position, 2) == "\xC2\x85") {
        return 2;
    }
    if (byte == 0xE2 && (text.substr(position, 3) == "\xE2\x80\xA8" ||
                         text.substr(position, 3) == "\xE2\x80\xA9")) {
        return 3;
    }
    return 0;
}

std::vector<std::string_view> fieldsOfLine(std::string_view line) {
    std::vector<std::string_view> fields;
    size_t start = 0;
    while (true) {
        size_t tab = line.find('\t', start);
        if (tab == std::string_view::npos) {
            fields.push_back(line.substr(start));
            return fields;
        }
        fields.push_back(line.substr(start, tab - start));
        start = tab + 1;
    }
}

std::shared_ptr<CVCLISerializedFileList> fileListOfLine(std::string_view line) {
    std::vector<std::string_view> fields = fieldsOfLine(line);
    if (fields.size() < 2) {
        return nullptr;
    }
    auto list = std::make_shared<CVCLISerializedFileList>();
    list->addFile(CVCLISerializedFile::serializedSummaryFileWithPath(std::string(fields[1])));
    std::string_view status = fields[0];
    if (fields.size() >= 3) {
        list->setStatus(status.starts_with("R100") ? 3 : 0);
        list->addFile(CVCLISerializedFile::serializedSummaryFileWithPath(std::string(fields[2])));
    } else if (status.starts_with("D")) {
        list->setStatus(2);
    } else if (status.starts_with("A")) {
        list->setStatus(1);
    }
    return list;
}

}  // namespace

std::shared_ptr<CVCLISerializedChangesetSummary>
CVCLISerializedChangesetSummary::serializedChangesetSummaryWithGitSummaryLines(
    std::string_view lines) {
    auto summary = std::make_shared<CVCLISerializedChangesetSummary>();
    size_t lineStart = 0;
    size_t position = 0;
    while (lineStart < lines.size()) {
        size_t endLength = position < lines.size() ? lineEndLength(lines, position) : 0;
        if (position < lines.size() && endLength == 0) {
            ++position;
            continue;
        }
        if (auto list = fileListOfLine(lines.substr(lineStart, position - lineStart))) {
            summary->addFileList(std::move(list));
        }
        position += endLength;
        lineStart = position;
        if (endLength == 0) {
            break;
        }
    }
    return summary;
}

const std::vector<CVCodingField>& CVCLISerializedChangesetSummary::codingFields() const {
    static const std::vector<CVCodingField> fields = {
        CVCodedMember<&CVCLISerializedChangesetSummary::fileLists_>("fileLists"),
        CVCodedMember<&CVCLISerializedChangesetSummary::UUIDForProcess_>("UUIDForProcess"),
    };
    return fields;
}

void CVCLISerializedChangesetSummary::addFileList(std::shared_ptr<CVCLISerializedFileList> list) {
    if (fileLists_) {
        fileLists_->push_back(std::move(list));
    }
}

std::string CVCLISerializedChangesetSummary::description() const {
    size_t count = fileLists_ ? fileLists_->size() : 0;
    return descriptionStart(" ") + " UUIDForProcess:" + CVDescribe(UUIDForProcess_) +
           " count:" + std::to_string(count) + " fileLists:[" +
           CVJoinedDescriptions(fileLists_, ", ") + "] >";
}
