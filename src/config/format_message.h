#pragma once

#include <string>

namespace Kelvra::SCADA {

/// Replaces `*out` with the formatted text, cut at 255 bytes. Does nothing, and formats nothing, if `out` is null.
void formatMessage(std::string* out, const char* format, ...) __attribute__((format(printf, 2, 3)));

} // namespace Kelvra::SCADA
