#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/CVCodedValue.h"

// The base of every record sent to the application. A record class lists its coded fields once,
// in order (`codingFields`); that order is the wire format, and the class name travels with the
// values, so both sides must agree on both.
class CVCLISerializedObject {
public:
    virtual ~CVCLISerializedObject() = default;

    // A new, freshly initialised record of the named class; null for a name that is not one of
    // the record classes.
    static std::shared_ptr<CVCLISerializedObject> recordWithClassName(std::string_view name);

    virtual std::string className() const { return "CVCLISerializedObject"; }
    // The class's own coded fields in coding order (the base has none).
    virtual const std::vector<CVCodingField>& codingFields() const;
    // The keys of `codingFields`, in order.
    virtual std::vector<std::string> keysForCoding() const;

    // Key-value access by coding key. Reading an unknown key gives nil; storing under an unknown
    // key, or a value of another type than the key's, changes nothing and answers why
    // (`refusalForValue`).
    virtual CVCodedValue valueForKey(const std::string& key) const;
    std::optional<std::string> setValueForKey(const CVCodedValue& value, const std::string& key);
    // The same for one of the record's own `codingFields`, without looking its key up.
    std::optional<std::string> setValueForField(const CVCodedValue& value,
                                                const CVCodingField& field);

    // Why the value cannot be stored under the key ("CVCLISerializedFile: key \"temporary\"
    // expects boolean or nil, found string"); nothing when it can.
    std::optional<std::string> refusalForValue(const CVCodedValue& value,
                                               const std::string& key) const;

    // Diagnostic text; the base gives "<ClassName: 0x...>".
    virtual std::string description() const;

    // Same class and every coded field equal (nested records field by field).
    bool isEqualTo(const CVCLISerializedObject& other) const;

protected:
    // Stores a value that `refusalForValue` accepted for the key.
    virtual void storeValueForKey(const CVCodedValue& value, const std::string& key);
    // The object's address as "%p" prints it.
    std::string address() const;
};

// The description of a record, or "(null)" for none.
std::string CVDescribe(const CVCLISerializedObject* record);
template <typename Record>
std::string CVDescribe(const std::shared_ptr<Record>& record) {
    return CVDescribe(record.get());
}
// The string, or "(null)" for none.
std::string CVDescribe(const std::optional<std::string>& text);

// The descriptions of the records joined by the separator, or "(null)" for no array.
template <typename Record>
std::string CVJoinedDescriptions(const std::optional<std::vector<std::shared_ptr<Record>>>& records,
                                 std::string_view separator) {
    if (!records) {
        return "(null)";
    }
    std::string text;
    for (size_t index = 0; index < records->size(); ++index) {
        if (index > 0) {
            text += separator;
        }
        text += CVDescribe((*records)[index]);
    }
    return text;
}

// An array of records coded as an array value; nil for no array.
template <typename Record>
CVCodedValue CVCodedArray(const std::optional<std::vector<std::shared_ptr<Record>>>& records) {
    if (!records) {
        return {};
    }
    CVCodedValue::Array values;
    values.reserve(records->size());
    for (const auto& record : *records) {
        values.emplace_back(std::static_pointer_cast<CVCLISerializedObject>(record));
    }
    return CVCodedValue(std::move(values));
}

// The records of an array value, when every element is a record of that class; no array for nil
// or for anything else.
template <typename Record>
std::optional<std::vector<std::shared_ptr<Record>>> CVRecordArray(const CVCodedValue& value) {
    const CVCodedValue::Array* values = value.array();
    if (values == nullptr) {
        return std::nullopt;
    }
    std::vector<std::shared_ptr<Record>> records;
    records.reserve(values->size());
    for (const CVCodedValue& element : *values) {
        const CVCodedValue::Record* held = element.record();
        auto typed = held ? std::dynamic_pointer_cast<Record>(*held) : nullptr;
        if (!typed) {
            return std::nullopt;
        }
        records.push_back(std::move(typed));
    }
    return records;
}

// The record of a record value when it has that class; null otherwise.
template <typename Record>
std::shared_ptr<Record> CVRecordOfClass(const CVCodedValue& value) {
    const CVCodedValue::Record* held = value.record();
    return held ? std::dynamic_pointer_cast<Record>(*held) : nullptr;
}

// The string of a string value; nothing for nil or anything else.
std::optional<std::string> CVOptionalString(const CVCodedValue& value);
// The boolean of a boolean value; nothing for nil or anything else.
std::optional<bool> CVOptionalBoolean(const CVCodedValue& value);
