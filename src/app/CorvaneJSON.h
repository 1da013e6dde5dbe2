#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

class CVCLISerializedObject;

// The application's JSON (the document list, the journal, a tab's description): objects keep
// their members in the order they are set, as a reader expects them.
using CorvaneJSON = nlohmann::ordered_json;

// The value on one line. Bytes of strings that are not well-formed UTF-8 become U+FFFD, so that
// a path of any bytes cannot make the text unreadable.
std::string CorvaneJSONText(const CorvaneJSON& value);

// The text, or null for nothing.
CorvaneJSON CorvaneJSONStringOrNull(const std::optional<std::string>& text);

// A serialized record: "$class", then every coding key in order; nil is null, data a base64
// string, nested records objects of the same form.
CorvaneJSON CorvaneJSONForRecord(const CVCLISerializedObject& record);
