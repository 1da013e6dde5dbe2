#include "model/CVPackedCoding.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include "model/CVCLISerializedChangeset.h"
#include "model/CVCLISerializedDiffInvocation.h"
#include "model/CVCLISerializedFileList.h"
#include "model/CVWireCoding.h"
#include "platform/CVUTF8.h"

namespace CVPackedCoding {

namespace {

template <typename Unsigned>
void appendLittleEndian(std::string* bytes, Unsigned value) {
    for (size_t index = 0; index < sizeof value; ++index) {
        bytes->push_back(char(uint8_t(value >> (8 * index))));
    }
}

// The number at the start of `bytes`, which hold at least its size.
template <typename Unsigned>
Unsigned readLittleEndian(std::string_view bytes) {
    Unsigned value = 0;
    for (size_t index = 0; index < sizeof(Unsigned); ++index) {
        value |= Unsigned(uint8_t(bytes[index])) << (8 * index);
    }
    return value;
}

class Writer {
public:
    explicit Writer(std::string* bytes) : bytes_(bytes) {}

    bool record(const CVCLISerializedObject& record) {
        const std::vector<CVCodingField>& fields = record.codingFields();
        bytes_->push_back('r');
        if (!string(record.className())) {
            return false;
        }
        number(uint32_t(fields.size()));
        return std::ranges::all_of(
            fields, [&](const CVCodingField& field) { return value(field.value(record)); });
    }

    bool value(const CVCodedValue& value) {
        using Type = CVCodedValue::Type;
        switch (value.type()) {
            case Type::nil:
                bytes_->push_back('n');
                return true;
            case Type::string:
                bytes_->push_back('s');
                return string(*value.string());
            case Type::boolean:
                bytes_->push_back(*value.boolean() ? 't' : 'f');
                return true;
            case Type::int32:
                bytes_->push_back('i');
                number(uint32_t(*value.int32()));
                return true;
            case Type::int64:
                bytes_->push_back('x');
                number(uint64_t(*value.int64()));
                return true;
            case Type::data:
                bytes_->push_back('d');
                number(uint32_t(value.data()->size()));
                bytes_->append(reinterpret_cast<const char*>(value.data()->data()),
                               value.data()->size());
                return true;
            case Type::array:
                bytes_->push_back('a');
                number(uint32_t(value.array()->size()));
                return std::ranges::all_of(*value.array(), [this](const CVCodedValue& element) {
                    return this->value(element);
                });
            case Type::record:
                return record(**value.record());
        }
        return false;
    }

private:
    // As a D-Bus string: UTF-8 without NUL, so that both codings carry the same values.
    bool string(std::string_view text) {
        if (text.find('\0') != std::string_view::npos || !CVIsValidUTF8(text)) {
            return false;
        }
        number(uint32_t(text.size()));
        bytes_->append(text);
        return true;
    }
    template <typename Unsigned>
    void number(Unsigned value) {
        appendLittleEndian(bytes_, value);
    }

    std::string* bytes_;
};

// Reads packed values; the first refusal stops it and says why.
class Reader {
public:
    explicit Reader(std::string_view bytes) : rest_(bytes) {}

    const std::string& whyRefused() const { return whyRefused_; }
    bool atEnd() const { return rest_.empty(); }

    std::optional<CVCodedValue> value(int depth) {
        if (depth > CVWireCoding::kMaximumDepth) {
            return refuse("values nested deeper than " +
                          std::to_string(CVWireCoding::kMaximumDepth) + " levels");
        }
        if (rest_.empty()) {
            return refuse("the payload ends inside a value");
        }
        char tag = rest_.front();
        rest_.remove_prefix(1);
        switch (tag) {
            case 'n':
                return CVCodedValue();
            case 't':
            case 'f':
                return CVCodedValue(tag == 't');
            case 'i': {
                auto number = this->number<uint32_t>();
                return number ? std::optional(CVCodedValue(int32_t(*number))) : std::nullopt;
            }
            case 'x': {
                auto number = this->number<uint64_t>();
                return number ? std::optional(CVCodedValue(int64_t(*number))) : std::nullopt;
            }
            case 's': {
                auto text = string();
                return text ? std::optional(CVCodedValue(std::string(*text))) : std::nullopt;
            }
            case 'd': {
                auto bytes = counted();
                if (!bytes) {
                    return std::nullopt;
                }
                const auto* start = reinterpret_cast<const uint8_t*>(bytes->data());
                return CVCodedValue(CVCodedValue::Data(start, start + bytes->size()));
            }
            case 'a':
                return array(depth);
            case 'r': {
                auto record = this->record(depth);
                return record ? std::optional(CVCodedValue(std::move(record))) : std::nullopt;
            }
            default:
                return refuse("unknown value tag " + std::to_string(uint8_t(tag)));
        }
    }

    // The tag is read already.
    std::shared_ptr<CVCLISerializedObject> record(int depth) {
        auto className = string();
        if (!className) {
            return nullptr;
        }
        std::string whyNot;
        auto record = CVCLISerializedObject::recordWithClassName(*className, &whyNot);
        if (!record) {
            refuse(std::move(whyNot));
            return nullptr;
        }
        auto count = number<uint32_t>();
        if (!count) {
            return nullptr;
        }
        if (auto refusal = record->refusalForValueCount(*count)) {
            refuse(std::move(*refusal));
            return nullptr;
        }
        for (const CVCodingField& field : record->codingFields()) {
            auto value = this->value(depth + 1);
            if (!value) {
                return nullptr;
            }
            if (auto refusal = record->setValueForField(std::move(*value), field)) {
                refuse(std::move(*refusal));
                return nullptr;
            }
        }
        return record;
    }

    std::nullopt_t refuse(std::string reason) {
        if (whyRefused_.empty()) {
            whyRefused_ = std::move(reason);
        }
        return std::nullopt;
    }

private:
    std::optional<CVCodedValue> array(int depth) {
        auto count = number<uint32_t>();
        if (!count) {
            return std::nullopt;
        }
        // Every element takes at least its tag: a count past the bytes left is a lie.
        if (*count > rest_.size()) {
            return refuse("an array of " + std::to_string(*count) + " values in " +
                          std::to_string(rest_.size()) + " bytes");
        }
        CVCodedValue::Array values;
        // A count is only a claim: memory grows with the values actually read.
        values.reserve(std::min<size_t>(*count, 4096));
        for (uint32_t index = 0; index < *count; ++index) {
            auto element = value(depth + 1);
            if (!element) {
                return std::nullopt;
            }
            values.push_back(std::move(*element));
        }
        return CVCodedValue(std::move(values));
    }

    template <typename Unsigned>
    std::optional<Unsigned> number() {
        if (rest_.size() < sizeof(Unsigned)) {
            refuse("the payload ends inside a value");
            return std::nullopt;
        }
        auto value = readLittleEndian<Unsigned>(rest_);
        rest_.remove_prefix(sizeof(Unsigned));
        return value;
    }

    std::optional<std::string_view> counted() {
        auto length = number<uint32_t>();
        if (!length) {
            return std::nullopt;
        }
        if (*length > rest_.size()) {
            refuse("the payload ends inside a value");
            return std::nullopt;
        }
        std::string_view bytes = rest_.substr(0, *length);
        rest_.remove_prefix(*length);
        return bytes;
    }

    std::optional<std::string_view> string() {
        auto text = counted();
        if (text && (text->find('\0') != std::string_view::npos || !CVIsValidUTF8(*text))) {
            refuse("a string that is not UTF-8 without NUL");
            return std::nullopt;
        }
        return text;
    }

    std::string_view rest_;
    std::string whyRefused_;
};

}  // namespace

bool appendRecord(std::string* bytes, const CVCLISerializedObject& record) {
    return Writer(bytes).record(record);
}

std::string frameLength(size_t length) {
    std::string bytes;
    appendLittleEndian(&bytes, uint32_t(length));
    return bytes;
}

std::optional<std::string> pack(const CVCLISerializedObject& root) {
    std::string bytes(kMagic);
    if (!appendRecord(&bytes, root)) {
        return std::nullopt;
    }
    return bytes;
}

std::shared_ptr<CVCLISerializedObject> unpack(std::string_view bytes, std::string* whyRefused) {
    Reader reader(bytes.substr(std::min(bytes.size(), kMagic.size())));
    std::shared_ptr<CVCLISerializedObject> record;
    if (!bytes.starts_with(kMagic)) {
        reader.refuse("the payload does not begin with \"" + std::string(kMagic) + "\"");
    } else if (std::optional<CVCodedValue> value = reader.value(0); value && value->record()) {
        record = *value->record();
    } else if (value) {
        reader.refuse("expected a record, found " + value->typeDescription());
    }
    if (record && !reader.atEnd()) {
        reader.refuse("bytes follow the record");
        record = nullptr;
    }
    if (!record && whyRefused != nullptr) {
        *whyRefused = reader.whyRefused();
    }
    return record;
}

bool StreamReader::refuse(std::string reason) {
    if (whyRefused_.empty()) {
        whyRefused_ = std::move(reason);
    }
    pending_.clear();
    return false;
}

bool StreamReader::append(std::string_view bytes) {
    if (!whyRefused_.empty()) {
        return false;
    }
    received_ += bytes.size();
    if (received_ > kLargestPayload) {
        return refuse("a stream of more than " + std::to_string(kLargestPayload >> 20) + " MiB");
    }
    pending_.append(bytes);
    std::string_view rest = pending_;
    if (!magicRead_) {
        if (rest.size() < kStreamMagic.size()) {
            return true;
        }
        if (!rest.starts_with(kStreamMagic)) {
            return refuse("the stream does not begin with \"" + std::string(kStreamMagic) + "\"");
        }
        magicRead_ = true;
        rest.remove_prefix(kStreamMagic.size());
    }
    while (rest.size() >= 4) {
        if (ended_) {
            return refuse("bytes follow the end of the stream");
        }
        auto length = readLittleEndian<uint32_t>(rest);
        if (rest.size() - 4 < length) {
            break;
        }
        if (!readFrame(rest.substr(4, length))) {
            return false;
        }
        rest.remove_prefix(4 + size_t(length));
    }
    if (ended_ && !rest.empty()) {
        return refuse("bytes follow the end of the stream");
    }
    pending_.erase(0, pending_.size() - rest.size());
    return true;
}

bool StreamReader::readFrame(std::string_view frame) {
    if (frame.empty()) {
        if (!root_) {
            return refuse("the stream ends before its invocation");
        }
        ended_ = true;
        return true;
    }
    if (!root_) {
        std::string why;
        std::shared_ptr<CVCLISerializedObject> root = unpack(frame, &why);
        if (!root) {
            return refuse(std::move(why));
        }
        auto* invocation = dynamic_cast<CVCLISerializedDiffInvocation*>(root.get());
        if (invocation == nullptr || !invocation->changeset()) {
            return refuse("the stream's invocation has no changeset");
        }
        if (!invocation->changeset()
                 ->fileLists()
                 .value_or(CVCLISerializedChangeset::FileLists())
                 .empty()) {
            return refuse("the stream's invocation carries file lists of its own");
        }
        root_ = std::move(root);
        return true;
    }
    // The lists lie where they would in the whole invocation: invocation, changeset, its list.
    constexpr int kDepthOfAFileList = 3;
    Reader reader(frame);
    while (!reader.atEnd()) {
        std::optional<CVCodedValue> value = reader.value(kDepthOfAFileList);
        if (!value) {
            return refuse(reader.whyRefused());
        }
        const CVCodedValue::Record* record = value->record();
        auto list = record != nullptr ? std::dynamic_pointer_cast<CVCLISerializedFileList>(*record)
                                      : nullptr;
        if (!list) {
            return refuse("expected a CVCLISerializedFileList, found " + value->typeDescription());
        }
        fileLists_.push_back(std::move(list));
    }
    return true;
}

std::vector<std::shared_ptr<CVCLISerializedFileList>> StreamReader::takeFileLists() {
    return std::exchange(fileLists_, {});
}

}  // namespace CVPackedCoding
