#pragma once

#include "duktape/MemoryLimit.h"

#include <duktape.h>

namespace Kelvra::SCADA::Codec {

/// The engine's numbers for classes of objects, as compiled into this build of it.
struct Classes {
    duk_int_t date, number, string, boolean, error;
};

/// An engine with the bare language and a clock that does not move. A call of the engine outside a protected call must
/// not fail: otherwise the process ends with exit status 3.
class Heap {
public:
    explicit Heap(std::size_t memory);
    ~Heap();
    Heap(const Heap&) = delete;
    Heap& operator=(const Heap&) = delete;

    duk_context* context() { return engine; }
    MemoryLimit& memory() { return limit; }
    const Classes& classes() const { return known; }
    /// The clock, in milliseconds since 1970.
    void setClock(double time) { now = time; }

    /// Returns the heap that an engine belongs to.
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
