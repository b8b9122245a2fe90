#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Kelvra::SCADA::Codec {

/// A JSON value of a request. Loading a library that can do more takes longer than running most decoders.
struct JsonValue {
    enum class Kind { NOTHING, BOOLEAN, NUMBER, STRING, ARRAY, OBJECT };

    Kind kind = Kind::NOTHING;
    double number = 0;
    std::string text;                                       ///< of a string, in UTF-8
    std::vector<JsonValue> elements;                        ///< of an array
    std::vector<std::pair<std::string, JsonValue>> members; ///< of an object

    bool is(Kind wanted) const { return kind == wanted; }
    /// Whether it is a whole number from 0 to `most`.
    bool isCount(double most) const;
    /// Returns a member, or null where there is none.
    const JsonValue& operator[](std::string_view name) const;
};

class BadJson : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reads a text that is one JSON object. Throws BadJson when it is not, when it is nested deeper than `levels`, or when
/// an object has two members of one name.
JsonValue readObject(std::string_view text, std::size_t levels);

} // namespace Kelvra::SCADA::Codec
