#pragma once

#include <string>

namespace Kelvra::SCADA {

/// Replaces `*out` by the formatted text, cut at 255 bytes. A null `out`: nothing is done, nothing is formatted.
void formatMessage(std::string* out, const char* format, ...) __attribute__((format(printf, 2, 3)));

} // namespace Kelvra::SCADA
