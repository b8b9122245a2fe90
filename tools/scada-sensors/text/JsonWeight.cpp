#include "text/JsonWeight.h"

namespace Kelvra::SCADA::Tool {

void JsonWeight::add(const char* data, std::size_t size) {
    for (std::size_t at = 0; at < size; ++at) {
        const char c = data[at];
        switch (state) {
        case State::OUTSIDE:
            addOutside(c);
            break;
        case State::STRING:
            state = c == '"' ? State::OUTSIDE : c == '\\' ? State::ESCAPE : State::STRING;
            break;
        case State::ESCAPE:
            state = State::STRING;
            break;
        case State::SLASH:
            state = afterSlash(c);
            break;
        case State::LINE_COMMENT:
            state = c == '\n' || c == '\r' ? State::OUTSIDE : State::LINE_COMMENT;
            break;
        case State::BLOCK_COMMENT:
            state = c == '*' ? State::BLOCK_STAR : State::BLOCK_COMMENT;
            break;
        case State::BLOCK_STAR:
            state = c == '/' ? State::OUTSIDE : c == '*' ? State::BLOCK_STAR : State::BLOCK_COMMENT;
            break;
        }
    }
}

void JsonWeight::addOutside(char c) {
    if (c == '"') {
        state = State::STRING;
    } else if (c == '/') {
        state = State::SLASH;
    } else if (c == ',' || c == ':' || c == '[' || c == '{') {
        ++counted;
        indented += depth;
        depth += c == '[' || c == '{' ? 1 : 0;
    } else if ((c == ']' || c == '}') && depth > 0) {
        --depth;
        indented += depth;
    }
}

JsonWeight::State JsonWeight::afterSlash(char c) {
    if (c == '/')
        return State::LINE_COMMENT;
    return c == '*' ? State::BLOCK_COMMENT : State::OUTSIDE;
}

} // namespace Kelvra::SCADA::Tool
