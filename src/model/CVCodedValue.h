#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

class CVCLISerializedObject;

// One coded value of a record: nil, a string, a boolean, a 32- or 64-bit integer, bytes, an array
// of values or a nested record. Records are shared, not copied, with the value.
class CVCodedValue {
public:
    enum class Type { nil, string, boolean, int32, int64, data, array, record };
    using Data = std::vector<uint8_t>;
    using Array = std::vector<CVCodedValue>;
    using Record = std::shared_ptr<CVCLISerializedObject>;

    CVCodedValue() = default;
    CVCodedValue(std::string value) : value_(std::move(value)) {}
    CVCodedValue(const char* value) : value_(std::string(value)) {}
    CVCodedValue(bool value) : value_(value) {}
    CVCodedValue(int32_t value) : value_(value) {}
    CVCodedValue(int64_t value) : value_(value) {}
    CVCodedValue(Data value) : value_(std::move(value)) {}
    CVCodedValue(Array value) : value_(std::move(value)) {}
    // A null record is nil.
    CVCodedValue(Record value);
    // An empty optional is nil.
    template <typename T>
    CVCodedValue(const std::optional<T>& value) {
        if (value) {
            *this = CVCodedValue(*value);
        }
    }

    Type type() const { return static_cast<Type>(value_.index()); }
    bool isNil() const { return type() == Type::nil; }

    // The held value, or null when the value is of another type.
    const std::string* string() const { return std::get_if<std::string>(&value_); }
    const bool* boolean() const { return std::get_if<bool>(&value_); }
    const int32_t* int32() const { return std::get_if<int32_t>(&value_); }
    const int64_t* int64() const { return std::get_if<int64_t>(&value_); }
    const Data* data() const { return std::get_if<Data>(&value_); }
    const Array* array() const { return std::get_if<Array>(&value_); }
    const Record* record() const { return std::get_if<Record>(&value_); }
    // The same for any of the held types, also for taking the value over.
    template <typename T>
    const T* held() const {
        return std::get_if<T>(&value_);
    }
    template <typename T>
    T* held() {
        return std::get_if<T>(&value_);
    }

    // "nil", "string", "boolean", "int32", "int64", "data", "array" or "record".
    static const char* nameOfType(Type type);
    // The type's name, except that a record names its class.
    std::string typeDescription() const;

    // Records compare by class and field by field, not by identity.
    friend bool operator==(const CVCodedValue& left, const CVCodedValue& right);

private:
    std::variant<std::monostate, std::string, bool, int32_t, int64_t, Data, Array, Record> value_;
};
