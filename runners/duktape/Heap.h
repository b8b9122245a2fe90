#pragma once

#include "duktape/MemoryLimit.h"

#include <duktape.h>

namespace Kelvra::SCADA::Codec {

/// The engine's numbers for the classes of objects, as this build of it has them.
struct Classes {
    duk_int_t date, number, string, boolean, error;
};

/// An engine with the language alone and a clock that stands still.
/// Whatever calls the engine outside of a protected call must not fail: the process ends with exit status 3 then.
class Heap {
public:
    explicit Heap(std::size_t memory);
    ~Heap();
    Heap(const Heap&) = delete;
    Heap& operator=(const Heap&) = delete;

    duk_context* context() { return engine; }
    MemoryLimit& memory() { return limit; }
    const Classes& classes() const { return known; }
    /// Milliseconds since 1970.
    void setClock(double time) { now = time; }

    /// The heap that an engine belongs to.
    static Heap& of(duk_context* context);
    double clock() const { return now; }

    /// Pushes an original function that a decoder cannot change: "Date", "toISOString", "lineNumber", "fileName".
    void pushOriginal(const char* name);
    /// Returns the class of the object at the top.
    duk_int_t classOfTop();

private:
    void keepOriginals();
    void learnClasses();

    MemoryLimit limit;
    duk_context* engine;
    Classes known{};
    double now = 0;
};

} // namespace Kelvra::SCADA::Codec
