#pragma once

#include <set>
#include <string>

namespace Kelvra::SCADA {

/// Adds the name of every definition that the storage directory `dir` lists to `*names`.
void collectNames(const std::string& dir, std::set<std::string>* names);

/// Returns whether collectNames would add `name`. A lookup must not grow with the storage: the directories on the way
/// to the file are only read where hasEntryNamed() has to.
bool isListed(const std::string& dir, const std::string& name);

} // namespace Kelvra::SCADA
