#include "duktape/Engine.h"

#include "duktape/newer_syntax.h"

#include <algorithm>

namespace Kelvra::SCADA::Codec {

namespace {

// 2020-01-01T00:00:00Z
constexpr double USUAL_TIME = 1577836800000.0;

// Memory for the description of an exception when all other memory is used up.
constexpr std::ptrdiff_t RESERVE = std::ptrdiff_t{256} * 1024;

constexpr const char* ENTRY = "entry";

} // namespace

const Engine::EntryPoint Engine::ENTRY_POINTS[3] = {{"decodeUplink", &Engine::pushInput, 1},
                                                    {"Decode", &Engine::pushPortBytes, 3},
                                                    {"Decoder", &Engine::pushBytesPort, 2}};

void Engine::setLimits(const Limits& given) {
    heap.memory().extend(static_cast<std::ptrdiff_t>(given.memory) - static_cast<std::ptrdiff_t>(limits.memory));
    limits = given;
}

// The engine's JSON reader defines members, so no setter of the decoder runs.
void Engine::pushInput(const Call& call) {
    duk_push_object(context);
    pushBytesPort(call);
    duk_push_literal(context, "fPort");
    duk_insert(context, -2);
    duk_def_prop(context, -4, DUK_DEFPROP_HAVE_VALUE | DUK_DEFPROP_SET_WEC);
    duk_push_literal(context, "bytes");
    duk_insert(context, -2);
    duk_def_prop(context, -3, DUK_DEFPROP_HAVE_VALUE | DUK_DEFPROP_SET_WEC);
    if (!call.recvTime)
        return;
    duk_push_literal(context, "recvTime");
    heap.pushOriginal("Date");
    duk_push_number(context, *call.recvTime);
    duk_new(context, 1);
    duk_def_prop(context, -3, DUK_DEFPROP_HAVE_VALUE | DUK_DEFPROP_SET_WEC);
}

void Engine::pushPortBytes(const Call& call) {
    pushBytesPort(call);
    duk_insert(context, -2);
    duk_push_object(context);
}

void Engine::pushBytesPort(const Call& call) {
    duk_push_lstring(context, call.bytes.data(), call.bytes.size());
    duk_json_decode(context, -1);
    duk_push_lstring(context, call.port.data(), call.port.size());
    duk_json_decode(context, -1);
}

duk_ret_t Engine::callProtected(duk_context* context, void* udata) {
    auto* engine = static_cast<Engine*>(udata);
    engine->heap.pushOriginal(ENTRY);
    (engine->*engine->entryPoint->pushArguments)(*engine->present);
    duk_call(context, engine->entryPoint->arguments);
    engine->writer.write();
    return 0;
}

std::string Engine::call(const Call& call) {
    present = &call;
    heap.setClock(call.recvTime.value_or(USUAL_TIME));
    heap.memory().takeRefused();
    if (duk_safe_call(context, callProtected, this, 0, 1) == DUK_EXEC_SUCCESS) {
        duk_pop(context);
        if (!writer.limit().empty())
            return R"({"limit":")" + std::string(writer.limit()) + R"("})";
        const std::string specials(writer.specials());
        return R"({"value":)" + std::string(writer.value()) +
               (specials.empty() ? "" : R"(,"special":[)" + specials + "]") + "}";
    }
    const bool refused = heap.memory().takeRefused();
    readException();
    if (!refused || !exception.tellsOfMemory())
        return R"({"exception":)" + exception.json({}) + "}";
    // Frees the call's garbage, so that the next call has the memory.
    duk_gc(context, 0);
    duk_gc(context, 0);
    return R"({"limit":"memory"})";
}

void Engine::readException() {
    heap.memory().extend(RESERVE);
    exception.read();
    heap.memory().extend(-RESERVE);
}

duk_ret_t Engine::findProtected(duk_context* context, void* udata) {
    auto* engine = static_cast<Engine*>(udata);
    duk_push_heap_stash(context);
    for (const EntryPoint& candidate : ENTRY_POINTS) {
        duk_get_global_string(context, candidate.name);
        if (duk_is_callable(context, -1) != 0) {
            duk_put_prop_string(context, -2, ENTRY);
            engine->entryPoint = &candidate;
            return 0;
        }
        duk_pop(context);
    }
    return 0;
}

std::string Engine::load(const std::string& decoder) {
    heap.setClock(USUAL_TIME);
    duk_push_lstring(context, decoder.data(), decoder.size());
    duk_push_string(context, DECODER_FILE);
    if (duk_pcompile(context, 0) != DUK_EXEC_SUCCESS)
        return notLoaded(decoder, false);
    if (duk_pcall(context, 0) != DUK_EXEC_SUCCESS)
        return notLoaded(decoder, true);
    duk_pop(context);
    if (duk_safe_call(context, findProtected, this, 0, 1) != DUK_EXEC_SUCCESS)
        return notLoaded(decoder, true);
    duk_pop(context);
    if (entryPoint == nullptr)
        return R"("loaded":true,"entryPoint":null)";
    return R"("loaded":true,"entryPoint":")" + std::string(entryPoint->name) + '"';
}

std::string Engine::notLoaded(const std::string& decoder, bool compiled) {
    readException();
    // An engine that does not know the keyword takes it for a name when a bracket follows.
    const std::string named = exception.undefinedName() == "let" ? "let" : "";
    const std::string newer = compiled ? named : newerSyntaxOf(decoder);
    return R"("loaded":false,"entryPoint":null,"exception":)" + exception.json(newer);
}

duk_ret_t Engine::compileProtected(duk_context* context, void* udata) {
    const std::string_view& text = *static_cast<std::string_view*>(udata);
    duk_push_lstring(context, text.data(), text.size());
    duk_push_string(context, DECODER_FILE);
    duk_compile(context, 0);
    return 0;
}

// The newer piece is the cause of the error if everything before it can be the beginning of a script. The engine then
// complains about the end of that part, which is some lines below the last one here.
std::string Engine::newerSyntaxOf(const std::string& decoder) {
    const NewerSyntax newer = firstNewerSyntax(decoder);
    if (newer.name.empty())
        return {};
    const std::string beginning = decoder.substr(0, newer.at) + "\n\n";
    const auto last = static_cast<int>(std::count(beginning.begin(), beginning.end(), '\n')) + 1;
    std::string_view text = beginning;
    const bool complete = duk_safe_call(context, compileProtected, &text, 0, 1) == DUK_EXEC_SUCCESS;
    ExceptionReader end(heap);
    end.read();
    return complete || end.line() == last ? newer.name : std::string();
}

} // namespace Kelvra::SCADA::Codec
