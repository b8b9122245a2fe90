#include "commands/whole_number.h"

#include <algorithm>
#include <string>

namespace Kelvra::SCADA::Tool {

CLI::Validator wholeNumber(unsigned int least, unsigned int most) {
    const CLI::Range range(least, most);
    const auto check = [range](std::string& text) {
        if (text.find_first_not_of("0123456789") == std::string::npos)
            text.erase(0, std::min(text.find_first_not_of('0'), std::max<std::size_t>(text.size(), 1) - 1));
        return range(text);
    };
    return {check, range.get_description()};
}

} // namespace Kelvra::SCADA::Tool
