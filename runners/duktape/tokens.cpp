#include "duktape/tokens.h"

#include <algorithm>
#include <array>

namespace Kelvra::SCADA::Codec {

namespace {

constexpr std::array<std::string_view, 13> MARKS = {"...", "?\?=", "||=", "&&=", "===", "!==", "=>",
                                                    "?.",  "??",   "==",  "!=",  "<=",  ">="};

constexpr std::array<std::string_view, 13> BEFORE_AN_EXPRESSION = {
    "return", "typeof", "case", "in", "delete", "void", "throw", "new", "instanceof", "else", "do", "yield", "await"};

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isPartOfWord(char c) {
    return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == '$' ||
           static_cast<unsigned char>(c) >= 0x80;
}

class Scanner {
public:
    explicit Scanner(std::string_view text) : script(text) {}

    Token next(const Token& before) {
        skipSpace();
        const std::size_t start = at;
        if (at >= script.size())
            return {Token::NONE, start, {}};
        const Token::Kind kind = pass(before);
        return {kind, start, script.substr(start, at - start)};
    }

private:
    char peek(std::size_t ahead = 0) const { return at + ahead < script.size() ? script[at + ahead] : '\0'; }
    bool startsWith(std::string_view text) const { return script.substr(at, text.size()) == text; }
    void passUntil(std::string_view end) {
        const std::size_t found = script.find(end, at + 2);
        at = found == std::string_view::npos ? script.size() : found;
    }

    void skipSpace() {
        while (at < script.size()) {
            if (startsWith("//")) {
                passUntil("\n");
            } else if (startsWith("/*")) {
                passUntil("*/");
                at = std::min(at + 2, script.size());
            } else if (peek() == ' ' || (peek() >= '\t' && peek() <= '\r')) {
                ++at;
            } else {
                return;
            }
        }
    }

    Token::Kind pass(const Token& before) {
        const char first = peek();
        if (first == '`') {
            ++at;
            return Token::TEMPLATE;
        }
        if (isDigit(first) || (first == '.' && isDigit(peek(1))))
            return passNumber();
        if (isPartOfWord(first)) {
            while (isPartOfWord(peek()))
                ++at;
            return Token::WORD;
        }
        if (first == '"' || first == '\'')
            return passText(first);
        if (first == '/' && mayBeginExpression(before))
            return passExpression();
        return passMark();
    }

    Token::Kind passNumber() {
        while (isPartOfWord(peek()) || peek() == '.')
            ++at;
        return Token::NUMBER;
    }

    Token::Kind passText(char quote) {
        for (++at; at < script.size() && peek() != '\n'; ++at) {
            if (peek() == quote) {
                ++at;
                break;
            }
            if (peek() == '\\')
                ++at;
        }
        at = std::min(at, script.size());
        return Token::TEXT;
    }

    static bool mayBeginExpression(const Token& before) {
        if (before.kind == Token::WORD)
            return std::find(BEFORE_AN_EXPRESSION.begin(), BEFORE_AN_EXPRESSION.end(), before.text) !=
                   BEFORE_AN_EXPRESSION.end();
        return before.kind == Token::NONE ||
               (before.kind == Token::MARK && before.text != ")" && before.text != "]" && before.text != "}");
    }

    Token::Kind passExpression() {
        bool inClass = false;
        for (++at; at < script.size() && peek() != '\n' && (inClass || peek() != '/'); ++at) {
            inClass = (inClass || peek() == '[') && peek() != ']';
            if (peek() == '\\')
                ++at;
        }
        do
            at = std::min(at + 1, script.size());
        while (isPartOfWord(peek()));
        return Token::EXPRESSION;
    }

    Token::Kind passMark() {
        const auto* mark = std::find_if(MARKS.begin(), MARKS.end(), [this](auto text) { return startsWith(text); });
        // In a ? .5 : 1 it is a condition, not an optional chain.
        const bool known = mark != MARKS.end() && !(*mark == "?." && isDigit(peek(2)));
        at += known ? mark->size() : 1;
        return Token::MARK;
    }

    std::string_view script;
    std::size_t at = 0;
};

} // namespace

std::vector<Token> tokensOf(std::string_view script) {
    Scanner scanner(script);
    std::vector<Token> tokens;
    for (Token token = scanner.next({}); token.kind != Token::NONE; token = scanner.next(token)) {
        tokens.push_back(token);
        if (token.kind == Token::TEMPLATE)
            break;
    }
    return tokens;
}

} // namespace Kelvra::SCADA::Codec
