#include "app/CorvaneJSON.h"

#include <glib.h>

#include "model/CVCLISerializedObject.h"

namespace {

CorvaneJSON valueOf(const CVCodedValue& value) {
    using Type = CVCodedValue::Type;
    switch (value.type()) {
        case Type::nil:
            return nullptr;
        case Type::string:
            return *value.string();
        case Type::boolean:
            return *value.boolean();
        case Type::int32:
            return *value.int32();
        case Type::int64:
            return *value.int64();
        case Type::data: {
            const auto& data = *value.data();
            gchar* encoded = g_base64_encode(data.data(), data.size());
            std::string text(encoded);
            g_free(encoded);
            return text;
        }
        case Type::array: {
            CorvaneJSON elements = CorvaneJSON::array();
            for (const CVCodedValue& element : *value.array()) {
                elements.push_back(valueOf(element));
            }
            return elements;
        }
        case Type::record:
            return CorvaneJSONForRecord(**value.record());
    }
    return nullptr;
}

}  // namespace

std::string CorvaneJSONText(const CorvaneJSON& value) {
    return value.dump(-1, ' ', false, CorvaneJSON::error_handler_t::replace);
}

CorvaneJSON CorvaneJSONStringOrNull(const std::optional<std::string>& text) {
    return text ? CorvaneJSON(*text) : CorvaneJSON(nullptr);
}

CorvaneJSON CorvaneJSONForRecord(const CVCLISerializedObject& record) {
    CorvaneJSON object = {{"$class", record.className()}};
    for (const std::string& key : record.keysForCoding()) {
        object[key] = valueOf(record.valueForKey(key));
    }
    return object;
}
