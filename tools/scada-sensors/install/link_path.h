#pragma once

#include <map>
#include <string>

namespace Kelvra::SCADA::Tool {

/// The target of a symbolic link of a source.
struct LinkEnd {
    bool outside = false; ///< or nowhere
    std::string relative; ///< the path in the source, without links
};

/// Follows a link through the other links of its source by their texts alone: it does not ask the file system, so
/// nobody can change the answer meanwhile. `links` has the targets by relative path. `source` is the path of the
/// source; without it, an absolute link leads outside.
LinkEnd endOfLink(const std::string& relative, const std::map<std::string, std::string>& links,
                  const std::string& source);

} // namespace Kelvra::SCADA::Tool
