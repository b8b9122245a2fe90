#pragma once

#include <duktape.h>

namespace Kelvra::SCADA::Codec {

/// Puts a Date constructor in the original's place that knows no time but the heap's clock.
/// REQUIRES: the heap keeps the original as "Date".
void stopClock(duk_context* context);

} // namespace Kelvra::SCADA::Codec
