#pragma once

#include "duktape/BoundedText.h"
#include "duktape/Heap.h"
#include "duktape/request.h"

#include <array>
#include <string_view>

namespace Kelvra::SCADA::Codec {

/// Writes the value that an entry point returned as JSON, through the engine's own interface: of the decoder's
/// functions only getters and proxies run. Nothing that it has on the stack needs clean-up when the engine jumps.
class ValueWriter {
public:
    ValueWriter(Heap& owner, const Limits& given);

    /// Writes the value at the top of the engine's stack. REQUIRES: a protected call.
    void write();
    /// Returns the limit that the value exceeds, or an empty text.
    std::string_view limit() const { return over; }
    std::string_view value() const { return values.view(); }
    /// Returns the elements of the list of values that JSON cannot express.
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
