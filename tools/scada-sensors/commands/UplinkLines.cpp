#include "commands/UplinkLines.h"

#include <cstdio>

namespace Kelvra::SCADA::Tool {

std::optional<std::string> UplinkLines::next() {
    std::string line;
    int c = std::getchar();
    if (c == EOF)
        return std::nullopt;
    for (; c != EOF && c != '\n'; c = std::getchar()) {
        if (line.size() <= LONGEST)
            line += static_cast<char>(c);
    }
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    ++lines;
    return line;
}

} // namespace Kelvra::SCADA::Tool
