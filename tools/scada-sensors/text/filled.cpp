#include "text/filled.h"

#include <cstddef>
#include <stdexcept>
#include <string_view>

namespace Kelvra::SCADA::Tool {

std::string filled(const char* format, std::initializer_list<std::string> values) {
    constexpr std::string_view PLACEHOLDER = "%s";
    std::string text;
    std::string_view rest = format;
    for (const std::string& value : values) {
        const std::size_t at = rest.find(PLACEHOLDER);
        if (at == std::string_view::npos)
            throw std::logic_error("more values than placeholders in a message");
        text.append(rest.substr(0, at)).append(value);
        rest.remove_prefix(at + PLACEHOLDER.size());
    }
    return text.append(rest);
}

} // namespace Kelvra::SCADA::Tool
