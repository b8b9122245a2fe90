#pragma once

#include <cstdlib>
#include <string>

namespace Kelvra::SCADA::Test {

/// Lets the leak sanitizer of programs that are started from now on find the function that opened a connection, so that
/// its suppression applies: the client library has no frame pointers. Every allocation takes many times as long then,
/// and therefore only a server calls this.
inline void unwindSlowly() {
    const char* const options = std::getenv("LSAN_OPTIONS");
    if (options != nullptr)
        setenv("LSAN_OPTIONS", (std::string(options) + ":fast_unwind_on_malloc=0").c_str(), 1);
}

} // namespace Kelvra::SCADA::Test
