#include "model/CVCLISerializedObject.h"

#include <algorithm>
#include <cstdio>

#include "model/CVCLISerializedChangeset.h"
#include "model/CVCLISerializedChangesetSummary.h"
#include "model/CVCLISerializedDiffInvocation.h"
#include "model/CVCLISerializedFile.h"
#include "model/CVCLISerializedFileList.h"
#include "model/CVCLISerializedMerge.h"
#include "model/CVCLISerializedPartialChangeset.h"

namespace {

template <typename Record, typename... Others>
std::shared_ptr<CVCLISerializedObject> recordOfOneOf(std::string_view name) {
    if (name == Record::kClassName) {
        return std::make_shared<Record>();
    }
    if constexpr (sizeof...(Others) > 0) {
        return recordOfOneOf<Others...>(name);
    }
    return nullptr;
}

}  // namespace

std::shared_ptr<CVCLISerializedObject> CVCLISerializedObject::recordWithClassName(
    std::string_view name) {
    return recordOfOneOf<CVCLISerializedDiffInvocation, CVCLISerializedFileList,
                         CVCLISerializedFile, CVCLISerializedChangeset,
                         CVCLISerializedPartialChangeset, CVCLISerializedChangesetSummary,
                         CVCLISerializedMerge, CVCLISerializedObject>(name);
}

std::shared_ptr<CVCLISerializedObject> CVCLISerializedObject::recordWithClassName(
    std::string_view name, std::string* whyNot) {
    auto record = recordWithClassName(name);
    if (!record) {
        *whyNot = "unknown class name \"" + std::string(name) + "\"";
    }
    return record;
}

std::optional<std::string> CVCLISerializedObject::refusalForValueCount(size_t count) const {
    if (count == codingFields().size()) {
        return std::nullopt;
    }
    return className() + ": " + std::to_string(count) + " values for " +
           std::to_string(codingFields().size()) + " keys";
}

const std::vector<CVCodingField>& CVCLISerializedObject::codingFields() const {
    static const std::vector<CVCodingField> none;
    return none;
}

const CVCodingField* CVCLISerializedObject::fieldForKey(std::string_view key) const {
    for (const CVCodingField& field : codingFields()) {
        if (key == field.key) {
            return &field;
        }
    }
    return nullptr;
}

std::vector<std::string> CVCLISerializedObject::keysForCoding() const {
    std::vector<std::string> keys;
    for (const CVCodingField& field : codingFields()) {
        keys.emplace_back(field.key);
    }
    return keys;
}

CVCodedValue CVCLISerializedObject::valueForKey(std::string_view key) const {
    const CVCodingField* field = fieldForKey(key);
    return field ? field->value(*this) : CVCodedValue();
}

std::optional<std::string> CVCLISerializedObject::setValueForKey(CVCodedValue value,
                                                                 std::string_view key) {
    const CVCodingField* field = fieldForKey(key);
    if (field == nullptr) {
        return className() + ": no key \"" + std::string(key) + "\"";
    }
    return setValueForField(std::move(value), *field);
}

std::optional<std::string> CVCLISerializedObject::setValueForField(CVCodedValue value,
                                                                   const CVCodingField& field) {
    // Decoding a large changeset stores every value this way: accepting must not build the text
    // of a refusal.
    if (field.store(*this, value)) {
        return std::nullopt;
    }
    return refusalForValue(value, field);
}

std::string CVCLISerializedObject::refusalForValue(const CVCodedValue& value,
                                                   const CVCodingField& field) const {
    std::string expected = field.type == CVCodedValue::Type::record && field.recordClass != nullptr
                               ? field.recordClass
                               : CVCodedValue::nameOfType(field.type);
    if (field.type == CVCodedValue::Type::array && field.recordClass != nullptr) {
        expected += std::string(" of ") + field.recordClass;
    }
    if (field.nullable) {
        expected += " or nil";
    }
    std::string found = value.typeDescription();
    if (value.type() == CVCodedValue::Type::array && field.type == value.type() &&
        field.recordClass != nullptr) {
        for (const CVCodedValue& element : *value.array()) {
            if (element.typeDescription() != field.recordClass) {
                found = "array holding " + element.typeDescription();
                break;
            }
        }
    }
    return className() + ": key \"" + field.key + "\" expects " + expected + ", found " + found;
}

std::string CVCLISerializedObject::description() const {
    return descriptionStart(": ") + ">";
}

bool CVCLISerializedObject::isEqualTo(const CVCLISerializedObject& other) const {
    if (className() != other.className()) {
        return false;
    }
    return std::ranges::all_of(codingFields(), [&](const CVCodingField& field) {
        return field.value(*this) == field.value(other);
    });
}

std::string CVCLISerializedObject::descriptionStart(std::string_view separator) const {
    std::string start = "<";
    start += className();
    start += separator;
    start += address();
    return start;
}

std::string CVCLISerializedObject::address() const {
    char text[32];
    snprintf(text, sizeof text, "%p", static_cast<const void*>(this));
    return text;
}

std::string CVDescribe(const CVCLISerializedObject* record) {
    return record ? record->description() : "(null)";
}

std::string CVDescribe(const std::optional<std::string>& text) {
    return text.value_or("(null)");
}
