#include "duktape/ValueWriter.h"

#include <charconv>
#include <cmath>

namespace Kelvra::SCADA::Codec {

namespace {

// The text around a value and the list of special values.
constexpr std::string_view FRAME = R"({"value":,"special":[]})";

// The engine keeps the value of a wrapper object under this name, which no script can form.
constexpr const char* INTERNAL_VALUE = "\x82"
                                       "Value";

} // namespace

ValueWriter::ValueWriter(Heap& owner, const Limits& given)
    : heap(owner), context(owner.context()), limits(given), values(room, given.output), special(room, given.output) {}

void ValueWriter::clear() {
    room.left = limits.output > FRAME.size() ? limits.output - FRAME.size() : 0;
    values.clear();
    special.clear();
    over = {};
    depth = 0;
}

void ValueWriter::write() {
    clear();
    writeAny();
}

bool ValueWriter::ended(std::string_view exceeded) {
    over = exceeded;
    return false;
}

bool ValueWriter::add(std::string_view text) {
    return values.add(text) || ended("output");
}

bool ValueWriter::addQuoted(std::string_view text) {
    return values.addQuoted(text) || ended("output");
}

bool ValueWriter::addPath() {
    for (std::size_t at = 0; at < depth; ++at) {
        const Step& step = path.at(at);
        if (at > 0 && !special.add(","))
            return false;
        std::array<char, 16> number{};
        char* const end = std::to_chars(number.begin(), number.end(), step.index).ptr;
        const std::string_view index(number.data(), static_cast<std::size_t>(end - number.data()));
        const bool added = step.key == nullptr ? special.add(index) : special.addQuoted({step.key, step.length});
        if (!added)
            return false;
    }
    return true;
}

bool ValueWriter::addSpecial(std::string_view kind) {
    const bool added = special.add(special.view().empty() ? R"({"path":[)" : R"(,{"path":[)") && addPath() &&
                       special.add(R"(],"kind":)") && special.addQuoted(kind) && special.add("}");
    return (added || ended("output")) && add("null");
}

bool ValueWriter::writeAny() {
    switch (duk_get_type(context, -1)) {
    case DUK_TYPE_NULL:
        return add("null");
    case DUK_TYPE_BOOLEAN:
        return add(duk_get_boolean(context, -1) != 0 ? "true" : "false");
    case DUK_TYPE_NUMBER:
        return writeNumber();
    case DUK_TYPE_STRING:
        return writeString();
    case DUK_TYPE_LIGHTFUNC:
        return addSpecial("function");
    case DUK_TYPE_BUFFER:
        return addSpecial("binary");
    case DUK_TYPE_OBJECT:
        return writeObject();
    default:
        return addSpecial("undefined");
    }
}

bool ValueWriter::writeNumber() {
    const double number = duk_get_number(context, -1);
    if (std::isnan(number))
        return addSpecial("NaN");
    if (std::isinf(number))
        return addSpecial(number > 0 ? "Infinity" : "-Infinity");
    duk_dup_top(context);
    duk_size_t length = 0;
    const char* text = duk_to_lstring(context, -1, &length);
    const bool added = add({text, length});
    duk_pop(context);
    return added;
}

bool ValueWriter::writeString() {
    if (duk_is_symbol(context, -1) != 0)
        return addSpecial("symbol");
    duk_size_t length = 0;
    const char* text = duk_get_lstring(context, -1, &length);
    return addQuoted({text, length});
}

bool ValueWriter::writeObject() {
    if (duk_is_function(context, -1) != 0)
        return addSpecial("function");
    if (duk_is_buffer_data(context, -1) != 0)
        return addSpecial("binary");
    duk_require_stack(context, 16);
    const duk_int_t number = heap.classOfTop();
    if (number == heap.classes().date)
        return writeDate();
    bool boxed = false;
    const bool added = writeBoxed(number, boxed);
    if (boxed)
        return added;
    return duk_is_array(context, -1) != 0 ? writeArray() : writeMembers();
}

bool ValueWriter::writeBoxed(duk_int_t number, bool& boxed) {
    const Classes& classes = heap.classes();
    boxed = number == classes.number || number == classes.string || number == classes.boolean;
    if (!boxed)
        return true;
    duk_get_prop_string(context, -1, INTERNAL_VALUE);
    const bool added = writeAny();
    duk_pop(context);
    return added;
}

bool ValueWriter::writeDate() {
    duk_get_prop_string(context, -1, INTERNAL_VALUE);
    const bool valid = std::isfinite(duk_get_number(context, -1));
    duk_pop(context);
    if (!valid)
        return addSpecial("invalid-date");
    heap.pushOriginal("toISOString");
    duk_dup(context, -2);
    duk_call_method(context, 0);
    const bool added = writeString();
    duk_pop(context);
    return added;
}

bool ValueWriter::enter() {
    return depth < limits.depth || ended("depth");
}

bool ValueWriter::writeArray() {
    if (!enter() || !add("["))
        return false;
    const duk_size_t length = duk_get_length(context, -1);
    for (duk_size_t at = 0; at < length; ++at) {
        path.at(depth++) = {nullptr, 0, static_cast<duk_uarridx_t>(at)};
        duk_get_prop_index(context, -1, static_cast<duk_uarridx_t>(at));
        if ((at > 0 && !add(",")) || !writeAny())
            return false;
        duk_pop(context);
        --depth;
    }
    return add("]");
}

bool ValueWriter::writeMembers() {
    if (!enter() || !add("{"))
        return false;
    duk_enum(context, -1, DUK_ENUM_OWN_PROPERTIES_ONLY);
    // Reads values from the object itself, because the enumeration skips the getter of a proxy.
    for (bool first = true; duk_next(context, -1, 0) != 0; first = false) {
        duk_size_t length = 0;
        const char* key = duk_get_lstring(context, -1, &length);
        duk_dup_top(context);
        duk_get_prop(context, -4);
        path.at(depth++) = {key, length, 0};
        if ((!first && !add(",")) || !addQuoted({key, length}) || !add(":") || !writeAny())
            return false;
        duk_pop_2(context);
        --depth;
    }
    duk_pop(context);
    return add("}");
}

} // namespace Kelvra::SCADA::Codec
