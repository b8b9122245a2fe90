#pragma once

#include <scada/Database.h>

#include <json/value.h>

#include <string>

namespace Kelvra::SCADA::Tool {

struct TypedValue {
    Json::Value json;
    std::string text; ///< as it is in the database when no type is asked for
};

/// Reads a field of a hash as "float", "bool", "int32" or "uint32", or as a text when `type` is empty. Returns a result
/// code of DatabaseBase; `*value` is untouched or unspecified unless it is RESULT_OK.
int readAs(const std::string& type, Database& database, const std::string& key, const std::string& field,
           TypedValue* value);

/// Reads all fields of a hash: `value->json` is an object of texts. Returns RESULT_NOT_FOUND for a key that is not
/// there and RESULT_BAD_VALUE for one that is no hash; `*value` is untouched then.
int readHash(Database& database, const std::string& key, TypedValue* value);

} // namespace Kelvra::SCADA::Tool
