#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// Returns a text as it is written between tags and between the quotes of an attribute: printable, and without
/// characters that a browser would take for markup.
std::string escapedHtml(const std::string& text);

/// Writes an HTML page for a browser that loads nothing and runs nothing but the page's own style and script: the
/// page's policy has their digests. Everything else in the page goes through escapedHtml(); tags, names of attributes,
/// style and script are the program's own.
class HtmlPage {
public:
    struct Attribute {
        const char* name;
        std::string value;
    };
    using Attributes = std::initializer_list<Attribute>;

    /// Begins the body. The script runs when the page has been read. REQUIRES: neither style nor script contains "</".
    HtmlPage(const std::string& title, const char* style, const char* pageScript);

    /// Reserves room for so many bytes: a growing page would be copied again and again.
    void reserve(std::size_t bytes) { html.reserve(bytes); }

    void begin(const char* tag, Attributes attributes = {});
    /// Adds an element without an end tag.
    void alone(const char* tag, Attributes attributes);
    /// Ends the last element that was begun.
    void end();
    void text(const std::string& words);
    void breakLine() { html += '\n'; }
    void element(const char* tag, const std::string& words, Attributes attributes = {});

    /// Ends the page and returns it. REQUIRES: each element has been ended.
    std::string finished();

private:
    void addTag(const char* tag, Attributes attributes);

    std::string html;
    std::vector<const char*> open;
    const char* script;
};

/// A table with headings for columns and rows. Each cell carries its heading, for a style that shows cells separately.
class HtmlTable {
public:
    HtmlTable(HtmlPage& itsPage, const std::string& caption, std::vector<const char*> itsHeadings);

    void beginRow();
    /// Begins the next cell of the row; the first one is the row's heading.
    void beginCell();
    void endCell() { page.end(); }
    void cell(const std::string& words);
    void endRow() { page.end(); }
    void end();

private:
    HtmlPage& page;
    std::vector<const char*> headings;
    std::size_t column = 0;
};

} // namespace Kelvra::SCADA::Tool
