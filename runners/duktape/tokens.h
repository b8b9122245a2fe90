#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace Kelvra::SCADA::Codec {

struct Token {
    enum Kind { NONE, WORD, NUMBER, TEXT, TEMPLATE, EXPRESSION, MARK };
    Kind kind = NONE;
    std::size_t at = 0;
    std::string_view text;

    bool is(std::string_view wanted) const { return kind != TEXT && kind != EXPRESSION && text == wanted; }
};

/// Returns the tokens of a script without its comments, up to the first template literal. A text that is not a script
/// gives some tokens, too.
std::vector<Token> tokensOf(std::string_view script);

} // namespace Kelvra::SCADA::Codec
