#pragma once

#include <memory>
#include <string>

#include "model/CVCLISerializedObject.h"
#include "platform/CVPropertyList.h"

// The keyed form of records, for archives and inspection.
namespace CVKeyedCoding {

// A property-list dictionary: "$class" holds the class name, then one entry per coding key whose
// value is not nil (booleans, integers, strings, data, arrays and nested dictionaries).
CVPlist propertyListForRecord(const CVCLISerializedObject& record);

// The record a dictionary of `propertyListForRecord` describes. Null, with the reason in
// `whyRefused` (may be null), for an unknown class, a key the class does not code, or a value of
// the wrong type; a missing key is nil, and refused for scalar keys.
std::shared_ptr<CVCLISerializedObject> recordFromPropertyList(plist_t dictionary,
                                                              std::string* whyRefused);

}  // namespace CVKeyedCoding
