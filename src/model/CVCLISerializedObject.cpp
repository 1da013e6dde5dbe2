#include "model/CVCLISerializedObject.h"

#include <cstdio>

#include "model/CVCLISerializedChangeset.h"
#include "model/CVCLISerializedChangesetSummary.h"
#include "model/CVCLISerializedDiffInvocation.h"
#include "model/CVCLISerializedFile.h"
#include "model/CVCLISerializedFileList.h"
#include "model/CVCLISerializedMerge.h"
#include "model/CVCLISerializedPartialChangeset.h"

namespace {

bool hasClass(const CVCodedValue& value, const char* recordClass) {
    const CVCodedValue::Record* record = value.record();
    return record != nullptr && *record != nullptr && (*record)->className() == recordClass;
}

bool isAcceptedBy(const CVCodedValue& value, const CVCodingField& field) {
    if (value.isNil()) {
        return field.nullable;
    }
    if (value.type() != field.type) {
        return false;
    }
    if (field.recordClass == nullptr) {
        return true;
    }
    if (field.type == CVCodedValue::Type::record) {
        return hasClass(value, field.recordClass);
    }
    for (const CVCodedValue& element : *value.array()) {
        if (!hasClass(element, field.recordClass)) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::shared_ptr<CVCLISerializedObject> CVCLISerializedObject::recordWithClassName(
    std::string_view name) {
    if (name == "CVCLISerializedDiffInvocation") {
        return std::make_shared<CVCLISerializedDiffInvocation>();
    }
    if (name == "CVCLISerializedFileList") {
        return std::make_shared<CVCLISerializedFileList>();
    }
    if (name == "CVCLISerializedFile") {
        return std::make_shared<CVCLISerializedFile>();
    }
    if (name == "CVCLISerializedChangeset") {
        return std::make_shared<CVCLISerializedChangeset>();
    }
    if (name == "CVCLISerializedPartialChangeset") {
        return std::make_shared<CVCLISerializedPartialChangeset>();
    }
    if (name == "CVCLISerializedChangesetSummary") {
        return std::make_shared<CVCLISerializedChangesetSummary>();
    }
    if (name == "CVCLISerializedMerge") {
        return std::make_shared<CVCLISerializedMerge>();
    }
    if (name == "CVCLISerializedObject") {
        return std::make_shared<CVCLISerializedObject>();
    }
    return nullptr;
}

const std::vector<CVCodingField>& CVCLISerializedObject::codingFields() const {
    static const std::vector<CVCodingField> none;
    return none;
}

std::vector<std::string> CVCLISerializedObject::keysForCoding() const {
    std::vector<std::string> keys;
    for (const CVCodingField& field : codingFields()) {
        keys.emplace_back(field.key);
    }
    return keys;
}

CVCodedValue CVCLISerializedObject::valueForKey(const std::string&) const {
    return {};
}

std::optional<std::string> CVCLISerializedObject::setValueForKey(const CVCodedValue& value,
                                                                 const std::string& key) {
    std::optional<std::string> refusal = refusalForValue(value, key);
    if (!refusal) {
        storeValueForKey(value, key);
    }
    return refusal;
}

std::optional<std::string> CVCLISerializedObject::setValueForField(const CVCodedValue& value,
                                                                   const CVCodingField& field) {
    std::string key = field.key;
    if (!isAcceptedBy(value, field)) {
        return refusalForValue(value, key);
    }
    storeValueForKey(value, key);
    return std::nullopt;
}

void CVCLISerializedObject::storeValueForKey(const CVCodedValue&, const std::string&) {}

std::optional<std::string> CVCLISerializedObject::refusalForValue(const CVCodedValue& value,
                                                                  const std::string& key) const {
    const CVCodingField* field = nullptr;
    for (const CVCodingField& candidate : codingFields()) {
        if (key == candidate.key) {
            field = &candidate;
            break;
        }
    }
    if (field == nullptr) {
        return className() + ": no key \"" + key + "\"";
    }
    // Decoding a large changeset asks this for every value: accepting must not build the text
    // of a refusal.
    if (isAcceptedBy(value, *field)) {
        return std::nullopt;
    }
    std::string expected =
        field->recordClass != nullptr && field->type == CVCodedValue::Type::record
            ? field->recordClass
            : CVCodedValue::nameOfType(field->type);
    if (field->type == CVCodedValue::Type::array && field->recordClass != nullptr) {
        expected += std::string(" of ") + field->recordClass;
    }
    if (field->nullable) {
        expected += " or nil";
    }
    auto refuse = [&](const std::string& found) {
        return className() + ": key \"" + key + "\" expects " + expected + ", found " + found;
    };

    if (value.isNil()) {
        return field->nullable ? std::nullopt : std::optional(refuse("nil"));
    }
    if (value.type() != field->type) {
        return refuse(value.typeDescription());
    }
    if (field->recordClass == nullptr) {
        return std::nullopt;
    }
    if (field->type == CVCodedValue::Type::record) {
        if (value.typeDescription() != field->recordClass) {
            return refuse(value.typeDescription());
        }
        return std::nullopt;
    }
    for (const CVCodedValue& element : *value.array()) {
        if (element.typeDescription() != field->recordClass) {
            return refuse("array holding " + element.typeDescription());
        }
    }
    return std::nullopt;
}

std::string CVCLISerializedObject::description() const {
    return "<" + className() + ": " + address() + ">";
}

bool CVCLISerializedObject::isEqualTo(const CVCLISerializedObject& other) const {
    if (className() != other.className()) {
        return false;
    }
    for (const std::string& key : keysForCoding()) {
        if (!(valueForKey(key) == other.valueForKey(key))) {
            return false;
        }
    }
    return true;
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

std::optional<std::string> CVOptionalString(const CVCodedValue& value) {
    const std::string* text = value.string();
    return text ? std::optional(*text) : std::nullopt;
}

std::optional<bool> CVOptionalBoolean(const CVCodedValue& value) {
    const bool* flag = value.boolean();
    return flag ? std::optional(*flag) : std::nullopt;
}
