#include "duktape/newer_syntax.h"

#include "duktape/holds.h"
#include "duktape/tokens.h"

#include <array>

namespace Kelvra::SCADA::Codec {

namespace {

// The engine does know const, methods and computed names in object literals, **, binary numbers and new.target.
constexpr std::array<std::string_view, 6> NEWER_MARKS = {"...", "?.", "??", "?\?=", "||=", "&&="};

constexpr std::array<std::string_view, 7> BEFORE_PARENTHESES = {"if",    "for",  "while", "switch",
                                                                "catch", "with", "return"};

class Search {
public:
    explicit Search(std::string_view text) : tokens(tokensOf(text)) {}

    NewerSyntax first() {
        for (at = 0; at < tokens.size(); ++at) {
            const Token& token = tokens[at];
            if (token.kind == Token::WORD && !before().is("."))
                lookAtWord(token);
            else if (token.kind == Token::MARK)
                lookAtMark(token);
            else
                lookAtLiteral(token);
        }
        return found;
    }

private:
    const Token& token(std::size_t index) const { return index < tokens.size() ? tokens[index] : none; }
    // Before the first token the index wraps around, which gives `none`.
    const Token& before(std::size_t count = 1) const { return token(at - count); }
    const Token& after(std::size_t count = 1) const { return token(at + count); }
    static bool opensPattern(const Token& token) { return token.is("{") || token.is("["); }

    void report(const Token& token, std::string_view name) {
        if (found.name.empty() || token.at < found.at)
            found = {std::string(name), token.at};
    }

    void lookAtWord(const Token& word) {
        const Token& next = after();
        const bool beforeName = next.kind == Token::WORD && !next.is("in") && !next.is("of") && !next.is("instanceof");
        if (word.is("let") && (beforeName || opensPattern(next)))
            report(word, "let");
        else if (word.is("class") && (next.kind == Token::WORD || next.is("{")))
            report(word, "class");
        else if (word.is("async") && beforeName)
            report(word, "async");
        else if ((word.is("var") || word.is("const")) && opensPattern(next))
            report(next, "destructuring");
        else if (word.is("catch") && next.is("{"))
            report(next, "catch without a variable");
        else if (word.is("of") && before().kind == Token::WORD && isInForHead())
            report(headDeclares() ? before(2) : before(), "for-of");
        else if ((word.is("import") || word.is("export")) && !next.is(":"))
            report(word, word.text);
        else if (word.is("function"))
            lookAtFunction();
    }

    bool headDeclares() const { return before(2).is("var") || before(2).is("const"); }

    bool isInForHead() const {
        const std::size_t head = headDeclares() ? 3 : 2;
        return before(head).is("(") && before(head + 1).is("for");
    }

    void lookAtFunction() {
        if (after().is("*"))
            return report(after(), "generator");
        const std::size_t open = at + (after().is("(") ? 1 : 2);
        if (!token(open).is("("))
            return;
        std::size_t depth = 0;
        for (std::size_t i = open; i < tokens.size(); ++i) {
            const Token& present = tokens[i];
            if (depth == 1 && opensPattern(present) && (tokens[i - 1].is("(") || tokens[i - 1].is(",")))
                report(present, "destructuring");
            if (depth == 1 && present.is("="))
                report(present, "default parameter");
            depth += present.is("(") || opensPattern(present) ? 1U : 0U;
            depth -= present.is(")") || present.is("}") || present.is("]") ? 1U : 0U;
            if (depth == 0)
                return;
        }
    }

    void lookAtMark(const Token& mark) {
        if (holds(NEWER_MARKS, mark.text))
            report(mark, mark.text);
        else if (mark.is("=>"))
            report(beginOfArrow(), beginOfArrow().is("async") ? "async" : "=>");
        else if (mark.is("*") && (before().is("{") || before().is(",")))
            report(mark, "generator");
        else if (mark.is(")") && before().is(",") && closesCall())
            report(mark, "trailing comma");
    }

    // Returns the index of the parenthesis that the closing one belongs to.
    std::size_t opening(std::size_t closing) const {
        std::size_t depth = 0;
        for (std::size_t i = closing;; --i) {
            depth += token(i).is(")") ? 1U : 0U;
            depth -= token(i).is("(") ? 1U : 0U;
            if (depth == 0 || i == 0)
                return i;
        }
    }

    const Token& beginOfArrow() const {
        const std::size_t start = before().is(")") ? opening(at - 1) : at - 1;
        return token(start - 1).is("async") ? token(start - 1) : token(start);
    }

    bool closesCall() const {
        const Token& callee = token(opening(at) - 1);
        return (callee.kind == Token::WORD && !holds(BEFORE_PARENTHESES, callee.text)) || callee.is(")") ||
               callee.is("]");
    }

    void lookAtLiteral(const Token& token) {
        if (token.kind == Token::TEMPLATE)
            report(token, "template literal");
        else if (token.kind == Token::NUMBER && token.text.find('_') != std::string_view::npos)
            report(token, "numeric separator");
        else if (token.kind == Token::NUMBER && token.text.back() == 'n')
            report(token, "BigInt");
        else if (token.kind == Token::EXPRESSION)
            lookAtExpression(token);
    }

    void lookAtExpression(const Token& expression) {
        const std::string_view flags = expression.text.substr(expression.text.rfind('/') + 1);
        const std::size_t newer = flags.find_first_of("dsuvy");
        if (newer != std::string_view::npos)
            report(expression, "regular expression flag " + std::string(flags.substr(newer, 1)));
        else if (expression.text.find("(?<") != std::string_view::npos)
            report(expression, "regular expression group (?<");
    }

    std::vector<Token> tokens;
    Token none;
    std::size_t at = 0;
    NewerSyntax found;
};

} // namespace

NewerSyntax firstNewerSyntax(std::string_view script) {
    return Search(script).first();
}

} // namespace Kelvra::SCADA::Codec
