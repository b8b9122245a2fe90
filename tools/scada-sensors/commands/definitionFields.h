#pragma once

#include "answer/FieldList.h"
#include "device/Storages.h"

namespace Kelvra::SCADA::Tool {

/// Adds where a definition comes from, what it hides, its decoder and its state. REQUIRES: a storage lists it.
void addDefinition(const Storages& storages, const Definition& definition, FieldList* fields);

/// Returns a text that the properties of a definition have for one of them, as "unit" or "name"; empty without one.
std::string memberOf(const Json::Value& properties, const std::string& property, const char* member);

/// Returns a cell of a table: a dash where there is nothing.
std::string orDash(const std::string& text);

} // namespace Kelvra::SCADA::Tool
