#pragma once

#include "duktape/BoundedText.h"
#include "duktape/Heap.h"

#include <string>
#include <string_view>

namespace Kelvra::SCADA::Codec {

/// The decoder's file name in the engine. Lines of other scripts, for example of eval, are not part of its text.
constexpr const char* DECODER_FILE = "decoder";

/// Reads an exception that a script threw.
class ExceptionReader {
public:
    explicit ExceptionReader(Heap& owner) : heap(owner), context(owner.context()), text(room, MOST + 2) {}

    /// Reads the value at the top of the stack and removes it. Its getters may run.
    void read();
    /// Returns whether the engine threw it because memory was refused.
    bool tellsOfMemory() const;
    /// Returns the line in the decoder's text, from 1, or 0 if there is none.
    int line() const { return lineNumber; }
    /// Returns the name of the missing global that the script asked for, or an empty text.
    std::string_view undefinedName() const;
    /// Returns the contract's object. If `newer` is empty, the object names the newer function or object that the
    /// script asked for.
    std::string json(std::string_view newer) const;

private:
    static constexpr std::size_t MOST = 1024;

    static duk_ret_t readText(duk_context* context, void* udata);
    static duk_ret_t readLine(duk_context* context, void* udata);
    void writeText();
    void writeObject();
    void add(duk_idx_t at);
    std::string_view newerFunction() const;

    Heap& heap;
    duk_context* context;
    Room room{};
    BoundedText text;
    int lineNumber = 0;
};

} // namespace Kelvra::SCADA::Codec
