#pragma once

#include "check/definition_difference.h"

#include <json/value.h>

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns one indented line for each member that differs, and the decoder's difference below, made printable.
std::string toText(const DefinitionDifference& difference);

/// Returns why two definitions cannot be compared. `broken` is the one with the fault.
std::string incomparableText(const Definition& broken);

/// Adds the members "changes" and "decoder".
void addDifference(const DefinitionDifference& difference, Json::Value* item);

} // namespace Kelvra::SCADA::Tool
