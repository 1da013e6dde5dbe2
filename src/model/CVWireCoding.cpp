#include "model/CVWireCoding.h"

#include <cerrno>
#include <cstring>

namespace CVWireCoding {

namespace {

int appendRecordBody(sd_bus_message* message, const CVCLISerializedObject& record);

int appendValue(sd_bus_message* message, const CVCodedValue& value) {
    using Type = CVCodedValue::Type;
    int result = 0;
    switch (value.type()) {
        case Type::nil:
            return sd_bus_message_append(message, "v", "g", "");
        case Type::string:
            // D-Bus strings end at the first NUL; one inside would silently shorten the value.
            if (value.string()->find('\0') != std::string::npos) {
                return -EINVAL;
            }
            return sd_bus_message_append(message, "v", "s", value.string()->c_str());
        case Type::boolean:
            return sd_bus_message_append(message, "v", "b", int(*value.boolean()));
        case Type::int32:
            return sd_bus_message_append(message, "v", "i", *value.int32());
        case Type::int64:
            return sd_bus_message_append(message, "v", "x", *value.int64());
        case Type::data:
            if ((result = sd_bus_message_open_container(message, 'v', "ay")) < 0 ||
                (result = sd_bus_message_append_array(message, 'y', value.data()->data(),
                                                      value.data()->size())) < 0) {
                return result;
            }
            return sd_bus_message_close_container(message);
        case Type::array:
            if ((result = sd_bus_message_open_container(message, 'v', "av")) < 0 ||
                (result = sd_bus_message_open_container(message, 'a', "v")) < 0) {
                return result;
            }
            for (const CVCodedValue& element : *value.array()) {
                if ((result = appendValue(message, element)) < 0) {
                    return result;
                }
            }
            if ((result = sd_bus_message_close_container(message)) < 0) {
                return result;
            }
            return sd_bus_message_close_container(message);
        case Type::record:
            if ((result = sd_bus_message_open_container(message, 'v', "(sav)")) < 0 ||
                (result = appendRecordBody(message, **value.record())) < 0) {
                return result;
            }
            return sd_bus_message_close_container(message);
    }
    return -EINVAL;
}

int appendRecordBody(sd_bus_message* message, const CVCLISerializedObject& record) {
    int result = 0;
    if ((result = sd_bus_message_open_container(message, 'r', "sav")) < 0 ||
        (result = sd_bus_message_append_basic(message, 's', record.className().c_str())) < 0 ||
        (result = sd_bus_message_open_container(message, 'a', "v")) < 0) {
        return result;
    }
    for (const CVCodingField& field : record.codingFields()) {
        if ((result = appendValue(message, field.value(record))) < 0) {
            return result;
        }
    }
    if ((result = sd_bus_message_close_container(message)) < 0) {
        return result;
    }
    return sd_bus_message_close_container(message);
}

// Reads coded values; the first refusal stops it and says why.
class Reader {
public:
    explicit Reader(sd_bus_message* message) : message_(message) {}

    const std::string& whyRefused() const { return whyRefused_; }

    std::optional<CVCodedValue> readValue(int depth) {
        if (depth > kMaximumDepth) {
            return refuse("values nested deeper than " + std::to_string(kMaximumDepth) + " levels");
        }
        char type = 0;
        const char* contents = nullptr;
        int result = sd_bus_message_peek_type(message_, &type, &contents);
        if (result <= 0 || type != SD_BUS_TYPE_VARIANT || contents == nullptr) {
            return refuse(result < 0 ? malformed(result) : "expected a variant");
        }
        std::string signature = contents;
        if ((result = sd_bus_message_enter_container(message_, 'v', contents)) < 0) {
            return refuse(malformed(result));
        }
        std::optional<CVCodedValue> value = readContents(signature, depth);
        if (value && (result = sd_bus_message_exit_container(message_)) < 0) {
            return refuse(malformed(result));
        }
        return value;
    }

private:
    std::nullopt_t refuse(std::string reason) {
        if (whyRefused_.empty()) {
            whyRefused_ = std::move(reason);
        }
        return std::nullopt;
    }
    static std::string malformed(int result) {
        return std::string("malformed message: ") + strerror(-result);
    }

    template <typename Basic>
    std::optional<Basic> readBasic(char type) {
        Basic value{};
        int result = sd_bus_message_read_basic(message_, type, &value);
        if (result <= 0) {
            refuse(result < 0 ? malformed(result) : "a value is missing");
            return std::nullopt;
        }
        return value;
    }

    std::optional<CVCodedValue> readContents(const std::string& signature, int depth) {
        if (signature == "g") {
            auto text = readBasic<const char*>('g');
            if (!text) {
                return std::nullopt;
            }
            if (**text != '\0') {
                return refuse(R"(unsupported value type "g" holding ")" + std::string(*text) +
                              "\"");
            }
            return CVCodedValue();
        }
        if (signature == "s") {
            auto text = readBasic<const char*>('s');
            return text ? std::optional(CVCodedValue(*text)) : std::nullopt;
        }
        if (signature == "b") {
            auto flag = readBasic<int>('b');
            return flag ? std::optional(CVCodedValue(*flag != 0)) : std::nullopt;
        }
        if (signature == "i") {
            auto number = readBasic<int32_t>('i');
            return number ? std::optional(CVCodedValue(*number)) : std::nullopt;
        }
        if (signature == "x") {
            auto number = readBasic<int64_t>('x');
            return number ? std::optional(CVCodedValue(*number)) : std::nullopt;
        }
        if (signature == "ay") {
            const void* bytes = nullptr;
            size_t size = 0;
            int result = sd_bus_message_read_array(message_, 'y', &bytes, &size);
            if (result < 0) {
                return refuse(malformed(result));
            }
            const auto* start = static_cast<const uint8_t*>(bytes);
            return CVCodedValue(CVCodedValue::Data(start, start + size));
        }
        if (signature == "av") {
            auto values = readValues(depth);
            return values ? std::optional(CVCodedValue(std::move(*values))) : std::nullopt;
        }
        if (signature == "(sav)") {
            auto record = readRecordBody(depth);
            return record ? std::optional(CVCodedValue(std::move(record))) : std::nullopt;
        }
        return refuse("unsupported value type \"" + signature + "\"");
    }

    // The elements of an "av" array.
    std::optional<CVCodedValue::Array> readValues(int depth) {
        int result = sd_bus_message_enter_container(message_, 'a', "v");
        if (result <= 0) {
            refuse(result < 0 ? malformed(result) : "expected an array of variants");
            return std::nullopt;
        }
        CVCodedValue::Array values;
        while ((result = sd_bus_message_at_end(message_, 0)) == 0) {
            auto value = readValue(depth + 1);
            if (!value) {
                return std::nullopt;
            }
            values.push_back(std::move(*value));
        }
        if (result < 0 || (result = sd_bus_message_exit_container(message_)) < 0) {
            refuse(malformed(result));
            return std::nullopt;
        }
        return values;
    }

    // A "(sav)" structure, the variant around it already entered.
    std::shared_ptr<CVCLISerializedObject> readRecordBody(int depth) {
        int result = sd_bus_message_enter_container(message_, 'r', "sav");
        if (result <= 0) {
            refuse(result < 0 ? malformed(result) : "expected a record");
            return nullptr;
        }
        auto className = readBasic<const char*>('s');
        if (!className) {
            return nullptr;
        }
        std::string whyNot;
        auto record = CVCLISerializedObject::recordWithClassName(*className, &whyNot);
        if (!record) {
            refuse(std::move(whyNot));
            return nullptr;
        }
        auto values = readValues(depth);
        if (!values) {
            return nullptr;
        }
        if (auto refusal = record->refusalForValueCount(values->size())) {
            refuse(std::move(*refusal));
            return nullptr;
        }
        const std::vector<CVCodingField>& fields = record->codingFields();
        for (size_t index = 0; index < fields.size(); ++index) {
            if (auto refusal =
                    record->setValueForField(std::move((*values)[index]), fields[index])) {
                refuse(std::move(*refusal));
                return nullptr;
            }
        }
        if ((result = sd_bus_message_exit_container(message_)) < 0) {
            refuse(malformed(result));
            return nullptr;
        }
        return record;
    }

    sd_bus_message* message_;
    std::string whyRefused_;
};

}  // namespace

int appendInvocation(sd_bus_message* message, const CVCLISerializedObject& root) {
    int result = sd_bus_message_open_container(message, 'v', "(sav)");
    if (result < 0 || (result = appendRecordBody(message, root)) < 0 ||
        (result = sd_bus_message_close_container(message)) < 0) {
        return result;
    }
    return 0;
}

namespace {

// Counts the bytes appendInvocation writes, alignment included, from a body offset.
class SizeCounter {
public:
    size_t offset = 0;

    void align(size_t boundary) { offset = (offset + boundary - 1) / boundary * boundary; }
    void signature(size_t length) { offset += 1 + length + 1; }
    void string(size_t length) {
        align(4);
        offset += 4 + length + 1;
    }
    void record(const CVCLISerializedObject& record) {
        align(8);
        string(record.className().size());
        align(4);
        offset += 4;  // the array's length; variants need no further alignment
        for (const CVCodingField& field : record.codingFields()) {
            value(field.value(record));
        }
    }
    void value(const CVCodedValue& value) {
        using Type = CVCodedValue::Type;
        switch (value.type()) {
            case Type::nil:
                signature(1);
                offset += 1 + 0 + 1;  // "g" holding ""
                return;
            case Type::string:
                signature(1);
                string(value.string()->size());
                return;
            case Type::boolean:
            case Type::int32:
                signature(1);
                align(4);
                offset += 4;
                return;
            case Type::int64:
                signature(1);
                align(8);
                offset += 8;
                return;
            case Type::data:
                signature(2);
                align(4);
                offset += 4 + value.data()->size();
                return;
            case Type::array:
                signature(2);
                align(4);
                offset += 4;
                for (const CVCodedValue& element : *value.array()) {
                    this->value(element);
                }
                return;
            case Type::record:
                signature(5);
                record(**value.record());
                return;
        }
    }
};

}  // namespace

size_t encodedSize(const CVCLISerializedObject& root) {
    SizeCounter counter;
    counter.signature(5);
    counter.record(root);
    return counter.offset;
}

std::shared_ptr<CVCLISerializedObject> readRecord(sd_bus_message* message,
                                                  std::string* whyRefused) {
    Reader reader(message);
    std::optional<CVCodedValue> value = reader.readValue(0);
    std::shared_ptr<CVCLISerializedObject> record;
    std::string reason = reader.whyRefused();
    if (value && value->record()) {
        record = *value->record();
    } else if (value) {
        reason = "expected a record, found " + value->typeDescription();
    }
    if (!record && whyRefused != nullptr) {
        *whyRefused = reason;
    }
    return record;
}

int appendPackedStream(sd_bus_message* message, int descriptor) {
    int result = sd_bus_message_append(message, "v", "h", descriptor);
    return result < 0 ? result : 0;
}

int readPackedStream(sd_bus_message* message, int* descriptor) {
    char type = 0;
    const char* contents = nullptr;
    int result = sd_bus_message_peek_type(message, &type, &contents);
    if (result <= 0 || type != SD_BUS_TYPE_VARIANT || contents == nullptr ||
        strcmp(contents, "h") != 0) {
        return result < 0 ? result : 0;
    }
    result = sd_bus_message_read(message, "v", "h", descriptor);
    return result < 0 ? result : 1;
}

int appendStringOrNil(sd_bus_message* message, const std::optional<std::string>& text) {
    int result = appendValue(message, text ? CVCodedValue(*text) : CVCodedValue());
    return result < 0 ? result : 0;
}

int readStringOrNil(sd_bus_message* message, std::optional<std::string>* out) {
    char type = 0;
    const char* contents = nullptr;
    int result = sd_bus_message_peek_type(message, &type, &contents);
    if (result < 0) {
        return result;
    }
    if (result == 0 || type != SD_BUS_TYPE_VARIANT || contents == nullptr ||
        (strcmp(contents, "s") != 0 && strcmp(contents, "g") != 0)) {
        return -EBADMSG;
    }
    bool isString = strcmp(contents, "s") == 0;
    const char* text = nullptr;
    if ((result = sd_bus_message_enter_container(message, 'v', contents)) < 0 ||
        (result = sd_bus_message_read_basic(message, contents[0], &text)) < 0) {
        return result;
    }
    if (!isString && *text != '\0') {
        return -EBADMSG;
    }
    if ((result = sd_bus_message_exit_container(message)) < 0) {
        return result;
    }
    *out = isString ? std::optional<std::string>(text) : std::nullopt;
    return 0;
}

}  // namespace CVWireCoding
