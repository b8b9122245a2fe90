#include "answer/Table.h"

#include "answer/json.h"
#include "answer/letters.h"
#include "answer/printable.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr std::size_t GAP = 2;
// No column becomes narrower. If a terminal lacks even that much room, lines run over.
constexpr std::size_t LEAST_WIDTH = 4;

std::size_t totalOf(const std::vector<std::size_t>& widths, std::size_t most) {
    std::size_t total = (widths.size() - 1) * GAP;
    for (const std::size_t width : widths)
        total += std::min(width, most);
    return total;
}

// Appends one line of a row. Nothing follows the last cell that has a text.
void appendLine(const std::vector<std::string_view>& parts, const std::vector<std::size_t>& widths,
                const Screen& screen, bool heading, std::string* lines) {
    std::size_t pending = 0;
    for (std::size_t column = 0; column < parts.size(); ++column) {
        const std::string_view part = parts[column];
        if (!part.empty()) {
            lines->append(pending, ' ');
            if (heading)
                *lines += screen.heading(std::string(part));
            else
                *lines += part;
            pending = 0;
        }
        const std::size_t width = widthOf(part);
        pending += std::max(widths[column], width) - width + GAP;
    }
    *lines += '\n';
}

void appendRow(const std::vector<std::string_view>& row, const std::vector<std::size_t>& widths, const Screen& screen,
               bool heading, std::string* lines) {
    std::vector<std::vector<std::string>> wrappedCells;
    std::size_t height = 1;
    for (std::size_t column = 0; column < row.size(); ++column) {
        wrappedCells.push_back(wrapped(std::string(row[column]), widths[column]));
        height = std::max(height, wrappedCells.back().size());
    }
    for (std::size_t line = 0; line < height; ++line) {
        std::vector<std::string_view> parts(row.size());
        for (std::size_t column = 0; column < row.size(); ++column) {
            if (line < wrappedCells[column].size())
                parts[column] = wrappedCells[column][line];
        }
        appendLine(parts, widths, screen, heading, lines);
    }
}

Json::Value numberOrNull(const std::string& digits) {
    return digits.empty() ? Json::Value() : Json::Value(static_cast<Json::Int64>(std::stoll(digits)));
}

} // namespace

void AlignedColumns::addHeading(const std::vector<std::string>& row) {
    hasHeading = true;
    add(row);
}

void AlignedColumns::add(const std::vector<std::string>& row) {
    widths.resize(row.size());
    for (std::size_t column = 0; column < row.size(); ++column)
        addCell(column, row[column]);
}

void AlignedColumns::addCell(std::size_t column, std::string_view cell) {
    const std::size_t start = cells.size();
    appendPrintable(cell, &cells);
    widths[column] = std::max(widths[column], widthOf(std::string_view(cells).substr(start)));
    cells += '\n';
}

// Narrow columns keep their width: the missing room is taken from the widest ones, down to a common width.
std::vector<std::size_t> AlignedColumns::widthsOn(const Screen& screen) const {
    if (screen.width == 0 || widths.empty() || totalOf(widths, SIZE_MAX) <= screen.width)
        return widths;
    std::size_t most = screen.width;
    while (most > LEAST_WIDTH && totalOf(widths, most) > screen.width)
        --most;
    std::size_t left = screen.width - std::min(screen.width, totalOf(widths, most));
    std::vector<std::size_t> narrowed;
    for (const std::size_t width : widths) {
        const bool gets = width > most && left > 0;
        narrowed.push_back(std::min(width, most + (gets ? 1 : 0)));
        left -= gets ? 1 : 0;
    }
    return narrowed;
}

std::string AlignedColumns::text(const Screen& screen) const {
    const std::vector<std::size_t> shown = widthsOn(screen);
    std::string lines;
    std::vector<std::string_view> row;
    bool heading = hasHeading;
    for (std::size_t at = 0; at < cells.size();) {
        const std::size_t end = cells.find('\n', at);
        row.push_back(std::string_view(cells).substr(at, end - at));
        at = end + 1;
        if (row.size() < shown.size())
            continue;
        if (shown == widths)
            appendLine(row, shown, screen, heading, &lines);
        else
            appendRow(row, shown, screen, heading, &lines);
        row.clear();
        heading = false;
    }
    return lines;
}

Table::Table(bool json, std::vector<Column> ownColumns) : isJson(json), columns(std::move(ownColumns)) {
    std::vector<std::string> headings;
    for (const Column& column : columns) {
        if (column.heading != nullptr)
            headings.emplace_back(column.heading);
    }
    if (!isJson)
        rows.addHeading(headings);
}

void Table::add(const std::vector<std::string>& cells) {
    if (isJson) {
        Json::Value& item = members.append(Json::objectValue);
        for (std::size_t at = 0; at < columns.size(); ++at)
            item[columns[at].member] = columns[at].unit == nullptr ? orNull(cells[at]) : numberOrNull(cells[at]);
        return;
    }
    std::size_t column = 0;
    for (std::size_t at = 0; at < columns.size(); ++at) {
        if (columns[at].heading == nullptr)
            continue;
        if (cells[at].empty())
            rows.addCell(column++, "-");
        else if (columns[at].unit == nullptr)
            rows.addCell(column++, cells[at]);
        else
            rows.addCell(column++, cells[at] + columns[at].unit);
    }
}

} // namespace Kelvra::SCADA::Tool
