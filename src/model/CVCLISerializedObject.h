#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/CVCodedValue.h"

class CVCLISerializedObject;

// One coding key of a record class: the values it accepts and the member behind it. A class's
// table of them (made with CVCodedMember) is all its codings know of it.
struct CVCodingField {
    const char* key;
    CVCodedValue::Type type;
    // Whether nil is accepted (object fields); scalar fields are never nil.
    bool nullable;
    // For a record: the class it must have; for an array: the class of every element.
    const char* recordClass;
    // The member's value, of a record of the class whose table holds the field.
    CVCodedValue (*value)(const CVCLISerializedObject& record);
    // Stores an accepted value in the member, taking it over; false, changing neither, for any
    // other.
    bool (*store)(CVCLISerializedObject& record, CVCodedValue& value);
};

// The base of every record sent to the application. A record class lists its coded fields once,
// in order (`codingFields`); that order is the wire format, and the class name travels with the
// values, so both sides must agree on both.
class CVCLISerializedObject {
public:
    static constexpr const char* kClassName = "CVCLISerializedObject";

    virtual ~CVCLISerializedObject() = default;

    // A new, freshly initialised record of the named class; null for a name that is not one of
    // the record classes.
    static std::shared_ptr<CVCLISerializedObject> recordWithClassName(std::string_view name);
    // The same for a decoder: null with why ("unknown class name \"X\"") for an unknown name.
    static std::shared_ptr<CVCLISerializedObject> recordWithClassName(std::string_view name,
                                                                      std::string* whyNot);

    virtual std::string className() const { return kClassName; }
    // The class's own coded fields in coding order (the base has none).
    virtual const std::vector<CVCodingField>& codingFields() const;
    // The field of `codingFields` with the key; null when there is none.
    const CVCodingField* fieldForKey(std::string_view key) const;
    // The keys of `codingFields`, in order.
    std::vector<std::string> keysForCoding() const;

    // Key-value access by coding key. Reading an unknown key gives nil; storing under an unknown
    // key, or a value of another type than the key's, changes nothing and answers why
    // ("CVCLISerializedFile: key \"temporary\" expects boolean or nil, found string").
    CVCodedValue valueForKey(std::string_view key) const;
    std::optional<std::string> setValueForKey(CVCodedValue value, std::string_view key);
    // The same for one of the record's own `codingFields`, without looking its key up.
    std::optional<std::string> setValueForField(CVCodedValue value, const CVCodingField& field);
    // Why a coded form with this many values cannot be this class's
    // ("CVCLISerializedFile: 3 values for 4 keys"); nothing when the count is the class's.
    std::optional<std::string> refusalForValueCount(size_t count) const;

    // Diagnostic text; the base gives "<ClassName: 0x...>".
    virtual std::string description() const;

    // Same class and every coded field equal (nested records field by field).
    bool isEqualTo(const CVCLISerializedObject& other) const;

protected:
    // The object's address as "%p" prints it.
    std::string address() const;
    // How every description opens: "<", the class name, the separator, the address.
    std::string descriptionStart(std::string_view separator) const;

private:
    // Why the field refused the value.
    std::string refusalForValue(const CVCodedValue& value, const CVCodingField& field) const;
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
