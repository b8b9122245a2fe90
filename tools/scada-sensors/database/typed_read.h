#pragma once

#include <scada/Database.h>

#include <json/value.h>

#include <string>

namespace Kelvra::SCADA::Tool {

struct TypedValue {
    Json::Value json;
    std::string text; ///< as it is in the database if no type is requested
};

/// Reads a field of a hash as "float", "bool", "int32" or "uint32", or as a text if `type` is empty. Returns a result
/// code of DatabaseBase; `*value` is untouched or unspecified unless it is RESULT_OK.
int readAs(const std::string& type, Database& database, const std::string& key, const std::string& field,
           TypedValue* value);

/// Reads all fields of a hash: `value->json` is an object of texts. Returns RESULT_NOT_FOUND for a missing key and
/// RESULT_BAD_VALUE for a key that is not a hash; `*value` is then untouched.
int readHash(Database& database, const std::string& key, TypedValue* value);

} // namespace Kelvra::SCADA::Tool
