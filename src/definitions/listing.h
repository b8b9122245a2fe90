#pragma once

#include <set>
#include <string>

namespace Kelvra::SCADA {

/// Adds the name of every definition in the storage directory `dir` that counts as listed to `*names`.
void collectNames(const std::string& dir, std::set<std::string>* names);

/// Returns whether collectNames would add `name`. The cost of a lookup must not grow with the storage: directories on
/// the path to the file are read only if hasEntryNamed() has to.
bool isListed(const std::string& dir, const std::string& name);

} // namespace Kelvra::SCADA
