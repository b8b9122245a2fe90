#include "duktape/clock.h"

#include "duktape/Heap.h"

namespace Kelvra::SCADA::Codec {

namespace {

duk_ret_t now(duk_context* context) {
    duk_push_number(context, Heap::of(context).clock());
    return 1;
}

// Called without new, Date returns the present time as a text and ignores its arguments.
duk_ret_t date(duk_context* context) {
    const bool constructs = duk_is_constructor_call(context) != 0;
    Heap& heap = Heap::of(context);
    if (!constructs || duk_get_top(context) == 0) {
        duk_set_top(context, 0);
        duk_push_number(context, heap.clock());
    }
    const duk_idx_t count = duk_get_top(context);
    heap.pushOriginal("Date");
    duk_insert(context, 0);
    duk_new(context, count);
    if (!constructs)
        duk_to_string(context, -1);
    return 1;
}

constexpr duk_uint_t FIXED = DUK_DEFPROP_HAVE_VALUE | DUK_DEFPROP_CLEAR_WEC;
constexpr duk_uint_t CONFIGURABLE = DUK_DEFPROP_HAVE_VALUE | DUK_DEFPROP_CLEAR_WE | DUK_DEFPROP_SET_CONFIGURABLE;
constexpr duk_uint_t HIDDEN = DUK_DEFPROP_HAVE_VALUE | DUK_DEFPROP_SET_WC | DUK_DEFPROP_CLEAR_ENUMERABLE;

// Defines the value at the top of the stack as a member of the object below it.
void define(duk_context* context, const char* name, duk_uint_t flags) {
    duk_push_string(context, name);
    duk_insert(context, -2);
    duk_def_prop(context, -3, flags);
}

void copyFunction(duk_context* context, const char* name) {
    duk_get_prop_string(context, 0, name);
    define(context, name, HIDDEN);
}

} // namespace

void stopClock(duk_context* context) {
    Heap::of(context).pushOriginal("Date");
    duk_push_c_function(context, date, DUK_VARARGS);
    duk_push_literal(context, "Date");
    define(context, "name", CONFIGURABLE);
    duk_push_int(context, 7);
    define(context, "length", CONFIGURABLE);
    duk_push_c_function(context, now, 0);
    define(context, "now", HIDDEN);
    copyFunction(context, "parse");
    copyFunction(context, "UTC");
    duk_get_prop_literal(context, 0, "prototype");
    duk_dup(context, 1);
    define(context, "constructor", HIDDEN);
    define(context, "prototype", FIXED);
    duk_push_global_object(context);
    duk_insert(context, -2);
    define(context, "Date", HIDDEN);
    duk_set_top(context, 0);
}

} // namespace Kelvra::SCADA::Codec
