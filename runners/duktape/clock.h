#pragma once

#include <duktape.h>

namespace Kelvra::SCADA::Codec {

/// Replaces the Date constructor with one that knows no time other than the heap's clock.
/// REQUIRES: the heap keeps the original as "Date".
void stopClock(duk_context* context);

} // namespace Kelvra::SCADA::Codec
