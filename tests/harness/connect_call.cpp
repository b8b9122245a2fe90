#include "connect_call.h"

#include <hiredis/hiredis.h>

#include <dlfcn.h>

#if defined(__SANITIZE_ADDRESS__)
#define SCADA_LEAK_CHECK
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SCADA_LEAK_CHECK
#endif
#endif

#ifdef SCADA_LEAK_CHECK
#include <sanitizer/lsan_interface.h>
#endif

namespace Kelvra::SCADA::Test {

ConnectCall& connectCall() {
    static ConnectCall call;
    return call;
}

} // namespace Kelvra::SCADA::Test

using Kelvra::SCADA::Test::connectCall;

// Stands in the executable, before the client library's own.
extern "C" __attribute__((visibility("default"))) redisContext* redisConnectUnixWithTimeout(const char* path,
                                                                                            const timeval timeout) {
    static auto* const real =
        reinterpret_cast<decltype(&redisConnectUnixWithTimeout)>(dlsym(RTLD_NEXT, "redisConnectUnixWithTimeout"));
    connectCall().seconds = timeout.tv_sec;
    connectCall().microseconds = timeout.tv_usec;
    redisContext* const context = connectCall().fails ? nullptr : real(path, timeout);
#ifdef SCADA_LEAK_CHECK
    // The one thing that stays allocated on purpose: a destroyed database object leaves its connection open until the
    // process ends, with the context and what that owns. Replies are not part of it.
    __lsan_ignore_object(context);
#endif
    return context;
}
