#include "model/CVKeyedCoding.h"

#include <cstdint>
#include <cstdlib>

namespace CVKeyedCoding {

namespace {

constexpr int kMaximumDepth = 32;
constexpr const char* kClassKey = "$class";

plist_t nodeForValue(const CVCodedValue& value) {
    using Type = CVCodedValue::Type;
    switch (value.type()) {
        case Type::nil:
            return nullptr;
        case Type::string:
            return plist_new_string(value.string()->c_str());
        case Type::boolean:
            return plist_new_bool(*value.boolean() ? 1 : 0);
        case Type::int32:
            return plist_new_uint(static_cast<uint64_t>(int64_t(*value.int32())));
        case Type::int64:
            return plist_new_uint(static_cast<uint64_t>(*value.int64()));
        case Type::data:
            return plist_new_data(reinterpret_cast<const char*>(value.data()->data()),
                                  value.data()->size());
        case Type::array: {
            plist_t array = plist_new_array();
            for (const CVCodedValue& element : *value.array()) {
                // Arrays cannot hold nil; a nil element has no place in the keyed form.
                if (plist_t item = nodeForValue(element)) {
                    plist_array_append_item(array, item);
                }
            }
            return array;
        }
        case Type::record:
            return propertyListForRecord(**value.record()).release();
    }
    return nullptr;
}

class Decoder {
public:
    const std::string& whyRefused() const { return whyRefused_; }

    std::shared_ptr<CVCLISerializedObject> record(plist_t dictionary, int depth) {
        if (depth > kMaximumDepth) {
            return refuse("values nested deeper than " + std::to_string(kMaximumDepth) + " levels");
        }
        if (plist_get_node_type(dictionary) != PLIST_DICT) {
            return refuse("expected a dictionary");
        }
        auto className = CVPropertyList::stringValue(plist_dict_get_item(dictionary, kClassKey));
        if (!className) {
            return refuse("the dictionary has no \"$class\"");
        }
        std::string whyNot;
        auto result = CVCLISerializedObject::recordWithClassName(*className, &whyNot);
        if (!result) {
            return refuse(std::move(whyNot));
        }
        plist_dict_iter iterator = nullptr;
        plist_dict_new_iter(dictionary, &iterator);
        while (iterator != nullptr) {
            char* key = nullptr;
            plist_t node = nullptr;
            plist_dict_next_item(dictionary, iterator, &key, &node);
            if (key == nullptr) {
                break;
            }
            std::string name = key;
            free(key);  // NOLINT(cppcoreguidelines-no-malloc): libplist allocates it
            if (name != kClassKey && result->fieldForKey(name) == nullptr) {
                free(iterator);  // NOLINT(cppcoreguidelines-no-malloc): libplist allocates it
                return refuse(*className + ": no key \"" + name + "\"");
            }
        }
        free(iterator);  // NOLINT(cppcoreguidelines-no-malloc): libplist allocates it
        for (const CVCodingField& field : result->codingFields()) {
            auto value = valueOfNode(plist_dict_get_item(dictionary, field.key), field, depth);
            if (!value) {
                return nullptr;
            }
            if (auto refusal = result->setValueForField(std::move(*value), field)) {
                return refuse(std::move(*refusal));
            }
        }
        return result;
    }

private:
    std::nullptr_t refuse(std::string reason) {
        if (whyRefused_.empty()) {
            whyRefused_ = std::move(reason);
        }
        return nullptr;
    }

    // The node as a value of the field's type where the property list cannot tell (integers);
    // otherwise as its own type, for the type check to judge.
    std::optional<CVCodedValue> valueOfNode(plist_t node, const CVCodingField& field, int depth) {
        switch (node ? plist_get_node_type(node) : PLIST_NONE) {
            case PLIST_NONE:
                return CVCodedValue();
            case PLIST_STRING:
                return CVCodedValue(*CVPropertyList::stringValue(node));
            case PLIST_BOOLEAN:
                return CVCodedValue(*CVPropertyList::boolValue(node));
            case PLIST_UINT: {
                uint64_t number = 0;
                plist_get_uint_val(node, &number);
                auto signedNumber = static_cast<int64_t>(number);
                if (field.type == CVCodedValue::Type::int32 && signedNumber >= INT32_MIN &&
                    signedNumber <= INT32_MAX) {
                    return CVCodedValue(static_cast<int32_t>(signedNumber));
                }
                return CVCodedValue(signedNumber);
            }
            case PLIST_DATA:
                return CVCodedValue(*CVPropertyList::dataValue(node));
            case PLIST_ARRAY: {
                CVCodedValue::Array elements;
                uint32_t count = plist_array_get_size(node);
                for (uint32_t index = 0; index < count; ++index) {
                    plist_t element = plist_array_get_item(node, index);
                    if (plist_get_node_type(element) != PLIST_DICT) {
                        refuse(std::string("key \"") + field.key + "\": arrays hold records only");
                        return std::nullopt;
                    }
                    auto nested = record(element, depth + 1);
                    if (!nested) {
                        return std::nullopt;
                    }
                    elements.emplace_back(std::move(nested));
                }
                return CVCodedValue(std::move(elements));
            }
            case PLIST_DICT: {
                auto nested = record(node, depth + 1);
                return nested ? std::optional(CVCodedValue(std::move(nested))) : std::nullopt;
            }
            default:
                refuse(std::string("key \"") + field.key + "\": unsupported property-list type");
                return std::nullopt;
        }
    }

    std::string whyRefused_;
};

}  // namespace

CVPlist propertyListForRecord(const CVCLISerializedObject& record) {
    plist_t dictionary = plist_new_dict();
    plist_dict_set_item(dictionary, kClassKey, plist_new_string(record.className().c_str()));
    for (const CVCodingField& field : record.codingFields()) {
        if (plist_t item = nodeForValue(field.value(record))) {
            plist_dict_set_item(dictionary, field.key, item);
        }
    }
    return CVPlist(dictionary);
}

std::shared_ptr<CVCLISerializedObject> recordFromPropertyList(plist_t dictionary,
                                                              std::string* whyRefused) {
    Decoder decoder;
    auto record = dictionary ? decoder.record(dictionary, 0) : nullptr;
    if (!record && whyRefused != nullptr) {
        *whyRefused = dictionary ? decoder.whyRefused() : "expected a dictionary";
    }
    return record;
}

}  // namespace CVKeyedCoding
