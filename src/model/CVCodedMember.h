#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <typeinfo>
#include <vector>

#include "model/CVCLISerializedObject.h"

// How a member of type T is coded: `type`, `nullable` and `recordClass` as in CVCodingField,
// `value` of the member, and `store`, which sets the member from a value of its type, taking the
// value over, and answers false, changing neither, for any other.
template <typename T>
struct CVMemberCoding;

template <typename T, CVCodedValue::Type codedType>
struct CVHeldValueCoding {
    static constexpr CVCodedValue::Type type = codedType;
    static constexpr bool nullable = false;
    static constexpr const char* recordClass = nullptr;
    static CVCodedValue value(const T& member) { return CVCodedValue(member); }
    static bool store(CVCodedValue& value, T& member) {
        T* held = value.held<T>();
        if (held != nullptr) {
            member = std::move(*held);
        }
        return held != nullptr;
    }
};

template <>
struct CVMemberCoding<std::string> : CVHeldValueCoding<std::string, CVCodedValue::Type::string> {};
template <>
struct CVMemberCoding<bool> : CVHeldValueCoding<bool, CVCodedValue::Type::boolean> {};
template <>
struct CVMemberCoding<int32_t> : CVHeldValueCoding<int32_t, CVCodedValue::Type::int32> {};
template <>
struct CVMemberCoding<int64_t> : CVHeldValueCoding<int64_t, CVCodedValue::Type::int64> {};
template <>
struct CVMemberCoding<CVCodedValue::Data>
    : CVHeldValueCoding<CVCodedValue::Data, CVCodedValue::Type::data> {};

// A nested record: nil is a null pointer; a record must be of exactly the class.
template <typename Record>
struct CVMemberCoding<std::shared_ptr<Record>> {
    static constexpr CVCodedValue::Type type = CVCodedValue::Type::record;
    static constexpr bool nullable = true;
    static constexpr const char* recordClass = Record::kClassName;
    static CVCodedValue value(const std::shared_ptr<Record>& member) {
        return CVCodedValue::Record(member);
    }
    static bool holdsRecord(const CVCodedValue& value) {
        const CVCodedValue::Record* held = value.record();
        if (held == nullptr || *held == nullptr) {
            return false;
        }
        const auto& object = **held;
        return typeid(object) == typeid(Record);
    }
    static bool store(CVCodedValue& value, std::shared_ptr<Record>& member) {
        if (value.isNil()) {
            member = nullptr;
            return true;
        }
        if (!holdsRecord(value)) {
            return false;
        }
        member = std::static_pointer_cast<Record>(std::move(*value.held<CVCodedValue::Record>()));
        return true;
    }
};

// An array of records, all of exactly the class.
template <typename Record>
struct CVMemberCoding<std::vector<std::shared_ptr<Record>>> {
    using Element = CVMemberCoding<std::shared_ptr<Record>>;
    static constexpr CVCodedValue::Type type = CVCodedValue::Type::array;
    static constexpr bool nullable = false;
    static constexpr const char* recordClass = Record::kClassName;
    static CVCodedValue value(const std::vector<std::shared_ptr<Record>>& member) {
        CVCodedValue::Array values;
        values.reserve(member.size());
        for (const auto& record : member) {
            values.emplace_back(std::static_pointer_cast<CVCLISerializedObject>(record));
        }
        return CVCodedValue(std::move(values));
    }
    static bool store(CVCodedValue& value, std::vector<std::shared_ptr<Record>>& member) {
        CVCodedValue::Array* values = value.held<CVCodedValue::Array>();
        if (values == nullptr) {
            return false;
        }
        // Every element is checked before any is taken: a refused value stays whole.
        for (const CVCodedValue& element : *values) {
            if (!Element::holdsRecord(element)) {
                return false;
            }
        }
        std::vector<std::shared_ptr<Record>> records(values->size());
        for (size_t index = 0; index < records.size(); ++index) {
            Element::store((*values)[index], records[index]);
        }
        member = std::move(records);
        return true;
    }
};

// Any of the above, or nil.
template <typename T>
struct CVMemberCoding<std::optional<T>> : CVMemberCoding<T> {
    static constexpr bool nullable = true;
    static CVCodedValue value(const std::optional<T>& member) {
        return member ? CVMemberCoding<T>::value(*member) : CVCodedValue();
    }
    static bool store(CVCodedValue& value, std::optional<T>& member) {
        if (value.isNil()) {
            member.reset();
            return true;
        }
        T stored{};
        if (!CVMemberCoding<T>::store(value, stored)) {
            return false;
        }
        member = std::move(stored);
        return true;
    }
};

template <typename MemberPointer>
struct CVMemberPointerTypes;
template <typename Record, typename Member>
struct CVMemberPointerTypes<Member Record::*> {
    using RecordType = Record;
    using MemberType = Member;
};

// The field of a record class coded under the key and kept in the member (a pointer to a data
// member of the class): its type, nil or not and record class follow from the member's type.
template <auto member>
CVCodingField CVCodedMember(const char* key) {
    using Record = typename CVMemberPointerTypes<decltype(member)>::RecordType;
    using Coding = CVMemberCoding<typename CVMemberPointerTypes<decltype(member)>::MemberType>;
    return {key,
            Coding::type,
            Coding::nullable,
            Coding::recordClass,
            [](const CVCLISerializedObject& record) {
                return Coding::value(static_cast<const Record&>(record).*member);
            },
            [](CVCLISerializedObject& record, CVCodedValue& value) {
                return Coding::store(value, static_cast<Record&>(record).*member);
            }};
}
