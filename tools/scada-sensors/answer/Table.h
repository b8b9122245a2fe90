#pragma once

#include "answer/Screen.h"

#include <json/value.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// Rows of cells as aligned columns, made printable. Each row is one line. On a screen that is too narrow, the widest
/// columns become narrower and their cells take several lines. Nothing is cut.
class AlignedColumns {
public:
    /// Makes the first row a heading.
    void addHeading(const std::vector<std::string>& row);
    /// Adds a row. Every row has as many cells as the first one.
    void add(const std::vector<std::string>& row);
    /// Adds the cells of a row one by one. REQUIRES: the first row has been added.
    void addCell(std::size_t column, std::string_view cell);
    std::string text(const Screen& screen = Screen()) const;

private:
    std::vector<std::size_t> widthsOn(const Screen& screen) const;

    bool hasHeading = false;
    std::vector<std::size_t> widths;
    std::string cells; ///< each printable and ended by a line break, because there are many rows
};

/// Rows of texts: a JSON array of objects for programs, aligned columns for people. A table keeps only the data of the
/// wanted form, because lists grow long.
class Table {
public:
    struct Column {
        const char* member;         ///< of the JSON objects
        const char* heading;        ///< null for a column that people do not get
        const char* unit = nullptr; ///< of whole numbers, with its blank; null for texts
    };

    Table(bool json, std::vector<Column> columns);

    /// Adds a row. An empty cell is null in JSON and "-" in text. A cell of a column of whole numbers has only digits;
    /// the unit follows them in text.
    void add(const std::vector<std::string>& cells);

    const Json::Value& result() const { return members; }
    /// Returns the rows below the headings, for standard output; nothing in JSON.
    std::string text() const { return rows.text(standardOutput()); }

private:
    bool isJson;
    std::vector<Column> columns;
    Json::Value members{Json::arrayValue};
    AlignedColumns rows;
};

} // namespace Kelvra::SCADA::Tool
