#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Kelvra::SCADA::Codec {

/// A piece of syntax that the engine does not know. The name is empty if there is none.
struct NewerSyntax {
    std::string name;
    /// Offset at which it begins, in bytes.
    std::size_t at = 0;
};

/// Returns the first such piece outside comments, strings and regular expressions.
NewerSyntax firstNewerSyntax(std::string_view script);

} // namespace Kelvra::SCADA::Codec
