#include "answer/HtmlPage.h"

#include "answer/printable.h"
#include "text/digest.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

namespace Kelvra::SCADA::Tool {

namespace {

const char* entityOf(char c) {
    switch (c) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\'':
        return "&#39;";
    default:
        return nullptr;
    }
}

std::string base64Of(const std::string& hexadecimal) {
    static constexpr char DIGITS[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    constexpr std::size_t NIBBLES_AT_ONCE = 6; // three bytes, which make four digits
    std::string text;
    for (std::size_t at = 0; at < hexadecimal.size(); at += NIBBLES_AT_ONCE) {
        const std::string part = hexadecimal.substr(at, NIBBLES_AT_ONCE);
        std::string filledUp = part;
        filledUp.resize(NIBBLES_AT_ONCE, '0');
        const unsigned long bits = std::stoul(filledUp, nullptr, 16);
        const std::size_t digits = (part.size() * 4 + 5) / 6;
        for (std::size_t digit = 0; digit < 4; ++digit)
            text += digit < digits ? DIGITS[bits >> (18 - 6 * digit) & 0x3fU] : '=';
    }
    return text;
}

std::string sourceOf(const char* content) {
    return "'sha256-" + base64Of(digestOf(content)) + "'";
}

// Without line breaks, a page would be one line.
bool endsLine(std::string_view tag) {
    static constexpr std::array<std::string_view, 9> TAGS = {"tr",   "p",       "li", "caption", "thead",
                                                             "main", "section", "h1", "h2"};
    return std::find(TAGS.begin(), TAGS.end(), tag) != TAGS.end();
}

// Most texts are appended unchanged.
void appendEscaped(std::string* html, const std::string& text) {
    const auto isPlain = [](char c) {
        return c >= 0x20 && c < 0x7f && c != '&' && c != '<' && c != '>' && c != '"' && c != '\'';
    };
    if (std::all_of(text.begin(), text.end(), isPlain))
        *html += text;
    else
        *html += escapedHtml(text);
}

constexpr const char* BEGINNING = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
)";

constexpr const char* SCREEN = R"(<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
)";

} // namespace

std::string escapedHtml(const std::string& text) {
    const std::string shown = printable(text);
    std::string escaped;
    std::size_t from = 0;
    for (std::size_t at = 0; (at = shown.find_first_of("&<>\"'", at)) != std::string::npos; from = ++at)
        escaped.append(shown, from, at - from).append(entityOf(shown[at]));
    return from == 0 ? shown : escaped + shown.substr(from);
}

HtmlPage::HtmlPage(const std::string& title, const char* style, const char* pageScript)
    : html(BEGINNING), script(pageScript) {
    html += R"(<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src )" + sourceOf(style) +
            "; script-src " + sourceOf(script) + R"(; base-uri 'none'; form-action 'none'">)" + "\n" + SCREEN;
    element("title", title);
    html += "\n<style>" + std::string(style) + "</style>\n</head>\n<body>\n";
}

void HtmlPage::addTag(const char* tag, Attributes attributes) {
    (html += '<') += tag;
    for (const Attribute& attribute : attributes) {
        ((html += ' ') += attribute.name) += "=\"";
        appendEscaped(&html, attribute.value);
        html += '"';
    }
    html += '>';
}

void HtmlPage::begin(const char* tag, Attributes attributes) {
    addTag(tag, attributes);
    open.push_back(tag);
}

void HtmlPage::alone(const char* tag, Attributes attributes) {
    addTag(tag, attributes);
}

void HtmlPage::end() {
    ((html += "</") += open.back()) += '>';
    if (endsLine(open.back()))
        html += '\n';
    open.pop_back();
}

void HtmlPage::text(const std::string& words) {
    appendEscaped(&html, words);
}

void HtmlPage::element(const char* tag, const std::string& words, Attributes attributes) {
    begin(tag, attributes);
    text(words);
    end();
}

std::string HtmlPage::finished() {
    html += "<script>" + std::string(script) + "</script>\n</body>\n</html>\n";
    return std::move(html);
}

HtmlTable::HtmlTable(HtmlPage& itsPage, const std::string& caption, std::vector<const char*> itsHeadings)
    : page(itsPage), headings(std::move(itsHeadings)) {
    page.begin("table");
    page.element("caption", caption);
    page.begin("thead");
    page.begin("tr");
    for (const char* heading : headings)
        page.element("th", heading, {{"scope", "col"}});
    page.end();
    page.end();
    page.begin("tbody");
}

void HtmlTable::beginRow() {
    page.begin("tr");
    column = 0;
}

void HtmlTable::beginCell() {
    const std::string heading = headings[column];
    if (column == 0)
        page.begin("th", {{"scope", "row"}, {"data-label", heading}});
    else
        page.begin("td", {{"data-label", heading}});
    ++column;
}

void HtmlTable::cell(const std::string& words) {
    beginCell();
    page.text(words);
    endCell();
}

void HtmlTable::end() {
    page.end();
    page.end();
}

} // namespace Kelvra::SCADA::Tool
