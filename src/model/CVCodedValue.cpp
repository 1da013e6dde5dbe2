#include "model/CVCodedValue.h"

#include "model/CVCLISerializedObject.h"

CVCodedValue::CVCodedValue(Record value) {
    if (value) {
        value_ = std::move(value);
    }
}

const char* CVCodedValue::nameOfType(Type type) {
    switch (type) {
        case Type::nil:
            return "nil";
        case Type::string:
            return "string";
        case Type::boolean:
            return "boolean";
        case Type::int32:
            return "int32";
        case Type::int64:
            return "int64";
        case Type::data:
            return "data";
        case Type::array:
            return "array";
        case Type::record:
            return "record";
    }
    return "unknown";
}

std::string CVCodedValue::typeDescription() const {
    if (const Record* held = record()) {
        return (*held)->className();
    }
    return nameOfType(type());
}

bool operator==(const CVCodedValue& left, const CVCodedValue& right) {
    if (left.type() != right.type()) {
        return false;
    }
    if (const auto* record = left.record()) {
        return (*record)->isEqualTo(**right.record());
    }
    return left.value_ == right.value_;
}
