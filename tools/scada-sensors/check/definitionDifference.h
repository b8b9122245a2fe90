#pragma once

#include "device/DefinitionDirectory.h"

#include <json/value.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// A member, or an element of an array, that two documents do not have in common.
struct MemberChange {
    enum class Kind { ADDED, REMOVED, CHANGED };

    Kind kind;
    std::vector<std::string> path; ///< names and indices, from the root
    Json::Value from;              ///< null when it is added
    Json::Value to;                ///< null when it is removed
};

/// Two decoders whose texts are not the same.
struct DecoderDifference {
    std::string from; ///< the files; empty for a definition without a decoder
    std::string to;
    std::size_t fromSize = 0; ///< in bytes
    std::size_t toSize = 0;
    std::string hunks;   ///< as unifiedDiff() gives them; empty when a text is too long for it
    std::string failure; ///< why one of them cannot be read, if so; the rest is not known then
};

/// How one definition differs from another. The order of members and the layout do not count, nor do comments.
struct DefinitionDifference {
    std::vector<MemberChange> members;
    std::optional<DecoderDifference> decoder;

    bool isNone() const { return members.empty() && !decoder; }
};

/// Compares two sound definitions. The name of the decoder's file does not count where both have a decoder: an
/// installation gives it another one.
DefinitionDifference differenceBetween(const Definition& from, const Definition& to);

} // namespace Kelvra::SCADA::Tool
