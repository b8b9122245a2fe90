#pragma once

#include <ostream>
#include <string>
#include <utility>

namespace Kelvra::SCADA::Test {

/// Base of the rows of parameterised tests: the name is the row's first value, and all that GoogleTest prints of it.
struct NamedRow {
    // Implicit: a row is written without braces around its name.
    NamedRow(const char* text) : name(text) {}
    NamedRow(std::string text) : name(std::move(text)) {}

    std::string name;
};

inline std::ostream& operator<<(std::ostream& out, const NamedRow& row) {
    return out << row.name;
}

} // namespace Kelvra::SCADA::Test
