#pragma once

#include <set>
#include <string>

namespace Kelvra::SCADA {

/// Adds the name of every definition that the storage directory `dir` lists to `*names`.
void collectNames(const std::string& dir, std::set<std::string>* names);

/// Returns whether collectNames would add `name`, without reading any directory: a lookup must not grow with the
/// storage. REQUIRES: the file system tells letter cases apart, as the device's do.
bool isListed(const std::string& dir, const std::string& name);

} // namespace Kelvra::SCADA
