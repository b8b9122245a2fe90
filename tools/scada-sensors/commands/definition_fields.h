#pragma once

#include "answer/FieldList.h"
#include "check/stale_overrides.h"
#include "device/Storages.h"

namespace Kelvra::SCADA::Tool {

/// Adds where a definition comes from, the definition that it hides, its decoder and its state. REQUIRES: a storage
/// lists it.
void addDefinition(const Storages& storages, const Definition& definition, FieldList* fields);

/// Returns a text such as "unit" or "name" of one of the properties; empty if it is missing.
std::string memberOf(const Json::Value& properties, const std::string& property, const char* member);

/// Returns the word for the default definition that a custom one hides or hid, with the change since; empty if none.
std::string hiddenWords(bool hides, DefaultSince since);

/// Returns a cell of a table: a dash for an empty text.
std::string orDash(const std::string& text);

} // namespace Kelvra::SCADA::Tool
