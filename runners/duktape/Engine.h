#pragma once

#include "duktape/ExceptionReader.h"
#include "duktape/Heap.h"
#include "duktape/ValueWriter.h"
#include "duktape/request.h"

#include <string>

namespace Kelvra::SCADA::Codec {

/// A decoder and its globals.
class Engine {
public:
    /// Sets limits other than the defaults. REQUIRES: nothing has been loaded yet.
    void setLimits(const Limits& given);

    /// Runs the decoder's text. Returns the members of the first answer that describe the result.
    std::string load(const std::string& decoder);
    /// Returns whether there is an entry point to call.
    bool canCall() const { return entryPoint != nullptr; }
    /// Calls the entry point and returns a result.
    std::string call(const Call& call);

private:
    struct EntryPoint {
        const char* name;
        void (Engine::*pushArguments)(const Call&);
        duk_idx_t arguments;
    };
    static const EntryPoint ENTRY_POINTS[3];

    static duk_ret_t callProtected(duk_context* context, void* udata);
    static duk_ret_t findProtected(duk_context* context, void* udata);
    static duk_ret_t compileProtected(duk_context* context, void* udata);

    std::string notLoaded(const std::string& decoder, bool compiled);
    std::string newerSyntaxOf(const std::string& decoder);
    void readException();
    void pushInput(const Call& call);
    void pushPortBytes(const Call& call);
    void pushBytesPort(const Call& call);

    Limits limits;
    Heap heap{limits.memory};
    duk_context* context = heap.context();
    ValueWriter writer{heap, limits};
    ExceptionReader exception{heap};
    const EntryPoint* entryPoint = nullptr;
    const Call* present = nullptr;
};

} // namespace Kelvra::SCADA::Codec
