#include "config/format_message.h"

#include <array>
#include <cstdarg>
#include <cstdio>

namespace Kelvra::SCADA {

// NOLINTNEXTLINE(cert-dcl50-cpp): the arguments are those of printf
void formatMessage(std::string* out, const char* format, ...) {
    if (out == nullptr)
        return;
    std::array<char, 256> buffer{};
    va_list arguments;
    va_start(arguments, format);
    // A longer text is cut off.
    static_cast<void>(std::vsnprintf(buffer.data(), buffer.size(), format, arguments));
    va_end(arguments);
    out->assign(buffer.data());
}

} // namespace Kelvra::SCADA
