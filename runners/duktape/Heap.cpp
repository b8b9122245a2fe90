#include "duktape/Heap.h"

#include "duktape/clock.h"
#include "duktape/language.h"

#include <unistd.h>

#include <new>

namespace Kelvra::SCADA::Codec {

namespace {

constexpr int OUT_OF_MEMORY = 3;

void* allocate(void* heap, duk_size_t size) {
    return static_cast<Heap*>(heap)->memory().allocate(size);
}

void* reallocate(void* heap, void* block, duk_size_t size) {
    return static_cast<Heap*>(heap)->memory().reallocate(block, size);
}

void release(void* heap, void* block) {
    static_cast<Heap*>(heap)->memory().release(block);
}

void fail(void* /*heap*/, const char* /*message*/) {
    _exit(OUT_OF_MEMORY);
}

void keepAccessor(duk_context* context, const char* name) {
    duk_push_heap_stash(context);
    duk_get_global_string(context, "Error");
    duk_get_prop_string(context, -1, "prototype");
    duk_push_string(context, name);
    duk_get_prop_desc(context, -2, 0);
    duk_get_prop_string(context, -1, "get");
    duk_put_prop_string(context, -5, name);
    duk_pop_n(context, 4);
}

} // namespace

Heap::Heap(std::size_t memory) : limit(memory), engine(duk_create_heap(allocate, reallocate, release, this, fail)) {
    if (engine == nullptr)
        throw std::bad_alloc();
    keepOriginals();
    learnClasses();
    keepToLanguage(engine);
    stopClock(engine);
}

Heap::~Heap() {
    duk_destroy_heap(engine);
}

Heap& Heap::of(duk_context* context) {
    duk_memory_functions functions;
    duk_get_memory_functions(context, &functions);
    return *static_cast<Heap*>(functions.udata);
}

void Heap::keepOriginals() {
    duk_push_heap_stash(engine);
    duk_get_global_string(engine, "Date");
    duk_get_prop_string(engine, -1, "prototype");
    duk_get_prop_string(engine, -1, "toISOString");
    duk_put_prop_string(engine, -4, "toISOString");
    duk_pop(engine);
    duk_put_prop_string(engine, -2, "Date");
    duk_pop(engine);
    keepAccessor(engine, "lineNumber");
    keepAccessor(engine, "fileName");
}

void Heap::pushOriginal(const char* name) {
    duk_push_heap_stash(engine);
    duk_get_prop_string(engine, -1, name);
    duk_remove(engine, -2);
}

duk_int_t Heap::classOfTop() {
    duk_inspect_value(engine, -1);
    duk_get_prop_literal(engine, -1, "class");
    const duk_int_t number = duk_get_int(engine, -1);
    duk_pop_2(engine);
    return number;
}

void Heap::learnClasses() {
    duk_eval_string(engine, "[new Date(0), new Number(0), new String(''), new Boolean(false), new Error('')]");
    duk_uarridx_t at = 0;
    for (duk_int_t* number : {&known.date, &known.number, &known.string, &known.boolean, &known.error}) {
        duk_get_prop_index(engine, -1, at++);
        *number = classOfTop();
        duk_pop(engine);
    }
    duk_pop(engine);
}

} // namespace Kelvra::SCADA::Codec
