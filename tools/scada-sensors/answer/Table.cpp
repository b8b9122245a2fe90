#include "answer/Table.h"

#include "answer/json.h"
#include "answer/printable.h"

#include <algorithm>

namespace Kelvra::SCADA::Tool {

void AlignedColumns::add(const std::vector<std::string>& row) {
    widths.resize(row.size());
    for (std::size_t column = 0; column < row.size(); ++column) {
        const std::string cell = printable(row[column]);
        widths[column] = std::max(widths[column], widthOf(cell));
        cells.append(cell).append(1, '\n');
    }
}

std::string AlignedColumns::text() const {
    std::string lines;
    std::size_t column = 0;
    for (std::size_t at = 0; at < cells.size();) {
        const std::size_t end = cells.find('\n', at);
        const std::string cell = cells.substr(at, end - at);
        const bool isLast = ++column == widths.size();
        lines += cell;
        if (isLast)
            lines += '\n';
        else
            lines.append(widths[column - 1] - widthOf(cell) + 2, ' ');
        column = isLast ? 0 : column;
        at = end + 1;
    }
    return lines;
}

Table::Table(bool json, const std::vector<Column>& ownColumns) : isJson(json), columns(ownColumns) {
    std::vector<std::string> headings;
    for (const Column& column : columns) {
        if (column.heading != nullptr)
            headings.emplace_back(column.heading);
    }
    if (!isJson)
        rows.add(headings);
}

void Table::add(const std::vector<std::string>& cells) {
    if (isJson) {
        Json::Value& item = members.append(Json::objectValue);
        for (std::size_t at = 0; at < columns.size(); ++at)
            item[columns[at].member] = orNull(cells[at]);
        return;
    }
    std::vector<std::string> row;
    for (std::size_t at = 0; at < columns.size(); ++at) {
        if (columns[at].heading != nullptr)
            row.push_back(cells[at].empty() ? "-" : cells[at]);
    }
    rows.add(row);
}

} // namespace Kelvra::SCADA::Tool
