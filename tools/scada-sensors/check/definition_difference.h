#pragma once

#include "device/DefinitionDirectory.h"

#include <json/value.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// A member, or an element of an array, that differs between two documents.
struct MemberChange {
    enum class Kind { ADDED, REMOVED, CHANGED };

    Kind kind;
    std::vector<std::string> path; ///< names and indices, from the root
    Json::Value from;              ///< null if it is added
    Json::Value to;                ///< null if it is removed
};

/// Two decoders with different texts.
struct DecoderDifference {
    std::string from; ///< the files; empty for a definition without a decoder
    std::string to;
    std::size_t fromSize = 0; ///< in bytes
    std::size_t toSize = 0;
    std::string hunks;   ///< the result of unifiedDiff(); empty if a text is too long for it
    std::string failure; ///< why one of them cannot be read, if so; everything else is then unknown
};

/// How one definition differs from another. The order of members, the layout and comments do not count.
struct DefinitionDifference {
    std::vector<MemberChange> members;
    std::optional<DecoderDifference> decoder;

    bool isNone() const { return members.empty() && !decoder; }
};

/// Compares two sound definitions. If both have a decoder, the name of its file does not count, because an installation
/// changes it.
DefinitionDifference differenceBetween(const Definition& from, const Definition& to);

} // namespace Kelvra::SCADA::Tool
