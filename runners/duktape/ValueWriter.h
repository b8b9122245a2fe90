#pragma once

#include "duktape/BoundedText.h"
#include "duktape/Heap.h"
#include "duktape/Request.h"

#include <array>
#include <string_view>

namespace Kelvra::SCADA::Codec {

/// Writes what an entry point returned as JSON, by the engine's own interface: of the decoder's functions only getters
/// and proxies run. Whatever it has on the stack survives the engine's jumps.
class ValueWriter {
public:
    ValueWriter(Heap& owner, const Limits& given);

    /// Writes the value at the top. REQUIRES: a protected call.
    void write();
    /// Returns the limit that the value is over, or an empty text.
    std::string_view limit() const { return over; }
    std::string_view value() const { return values.view(); }
    /// Returns the elements of the list of values that JSON does not have.
    std::string_view specials() const { return special.view(); }
    void clear();

private:
    struct Step {
        const char* key;
        std::size_t length;
        duk_uarridx_t index;
    };

    bool writeAny();
    bool writeNumber();
    bool writeString();
    bool writeObject();
    bool writeBoxed(duk_int_t number, bool& boxed);
    bool writeDate();
    bool writeArray();
    bool writeMembers();
    bool enter();
    bool add(std::string_view text);
    bool addQuoted(std::string_view text);
    bool addSpecial(std::string_view kind);
    bool addPath();
    bool ended(std::string_view exceeded);

    Heap& heap;
    duk_context* context;
    const Limits& limits;
    Room room{};
    BoundedText values;
    BoundedText special;
    std::string_view over;
    std::size_t depth = 0;
    std::array<Step, 256> path{};
};

} // namespace Kelvra::SCADA::Codec
