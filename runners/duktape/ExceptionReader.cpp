#include "duktape/ExceptionReader.h"

#include "duktape/language.h"

#include <algorithm>
#include <array>

namespace Kelvra::SCADA::Codec {

namespace {

bool isText(duk_context* context, duk_idx_t at) {
    return duk_is_string(context, at) != 0 && duk_is_symbol(context, at) == 0 && duk_get_length(context, at) > 0;
}

} // namespace

void ExceptionReader::add(duk_idx_t at) {
    duk_size_t length = 0;
    const char* bytes = duk_get_lstring(context, at, &length);
    text.addQuoted({bytes, length});
}

// Uses the name and the message of an error and ignores its own functions.
void ExceptionReader::writeObject() {
    duk_get_prop_literal(context, -1, "name");
    duk_get_prop_literal(context, -2, "message");
    const bool named = isText(context, -2);
    const bool tells = isText(context, -1);
    if (named && tells) {
        duk_push_literal(context, ": ");
        duk_insert(context, -2);
        duk_concat(context, 3);
        add(-1);
    } else if (named || tells) {
        add(named ? -2 : -1);
    } else {
        text.addQuoted("an object that is not an error");
    }
}

void ExceptionReader::writeText() {
    if (duk_is_object(context, -1) != 0)
        return writeObject();
    if (duk_is_symbol(context, -1) != 0) {
        text.addQuoted("a symbol");
        return;
    }
    duk_dup_top(context);
    duk_to_string(context, -1);
    add(-1);
}

duk_ret_t ExceptionReader::readText(duk_context* /*context*/, void* udata) {
    static_cast<ExceptionReader*>(udata)->writeText();
    return 0;
}

duk_ret_t ExceptionReader::readLine(duk_context* context, void* udata) {
    auto* reader = static_cast<ExceptionReader*>(udata);
    reader->heap.pushOriginal("fileName");
    duk_dup(context, -2);
    duk_call_method(context, 0);
    const std::string_view file = isText(context, -1) ? duk_get_string(context, -1) : "";
    duk_pop(context);
    if (file != DECODER_FILE)
        return 0;
    reader->heap.pushOriginal("lineNumber");
    duk_dup(context, -2);
    duk_call_method(context, 0);
    reader->lineNumber = duk_get_int(context, -1);
    return 0;
}

void ExceptionReader::read() {
    room.left = MOST + 1;
    text.clear();
    lineNumber = 0;
    duk_dup_top(context);
    if (duk_safe_call(context, readText, this, 1, 1) != DUK_EXEC_SUCCESS || text.view().empty()) {
        room.left = MOST + 1;
        text.clear();
        text.addQuoted("an exception that tells nothing of itself");
    }
    duk_pop(context);
    // A text that was cut off has lost its closing quote.
    const bool whole = text.view().size() > 1 && text.view().back() == '"' && room.left > 0;
    if (!whole) {
        room.left = 1;
        text.add("\"");
    }
    duk_safe_call(context, readLine, this, 1, 1);
    duk_pop(context);
}

bool ExceptionReader::tellsOfMemory() const {
    return text.view() == R"("Error: alloc failed")" || text.view() == R"("DoubleError: error in error handling")";
}

std::string_view ExceptionReader::undefinedName() const {
    constexpr std::string_view BEFORE = R"("ReferenceError: identifier ')";
    constexpr std::string_view AFTER = R"(' undefined")";
    const std::string_view all = text.view();
    if (all.size() <= BEFORE.size() + AFTER.size() || all.substr(0, BEFORE.size()) != BEFORE ||
        all.substr(all.size() - AFTER.size()) != AFTER)
        return {};
    return all.substr(BEFORE.size(), all.size() - BEFORE.size() - AFTER.size());
}

// Returns the name of a function that a call did not find in one of the language's objects.
std::string_view ExceptionReader::newerFunction() const {
    constexpr std::string_view BEFORE = R"("TypeError: undefined not callable (property ')";
    const std::string_view all = text.view();
    const std::size_t end = all.find('\'', BEFORE.size());
    if (all.substr(0, BEFORE.size()) != BEFORE || end == std::string_view::npos)
        return {};
    const std::string_view owner = all.substr(end);
    constexpr std::array<std::string_view, 5> OWNERS = {"' of [object Array])", "' of [object Function])",
                                                        "' of [object Math])", "' of [object Uint8Array])", "' of '"};
    const bool isOfTheLanguage = std::any_of(
        OWNERS.begin(), OWNERS.end(), [owner](std::string_view one) { return owner.substr(0, one.size()) == one; });
    const std::string_view name = all.substr(BEFORE.size(), end - BEFORE.size());
    return isOfTheLanguage && isNewerFunction(name) ? name : std::string_view();
}

std::string ExceptionReader::json(std::string_view newer) const {
    if (newer.empty())
        newer = isNewerObject(undefinedName()) ? undefinedName() : newerFunction();
    std::string object = R"({"text":)" + std::string(text.view());
    if (lineNumber > 0)
        object += R"(,"line":)" + std::to_string(lineNumber);
    if (!newer.empty())
        object += R"(,"newer":")" + std::string(newer) + '"';
    if (isKnownElsewhere(undefinedName()))
        object += R"(,"missing":")" + std::string(undefinedName()) + '"';
    return object + "}";
}

} // namespace Kelvra::SCADA::Codec
