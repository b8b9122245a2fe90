#pragma once

#include <duktape.h>

#include <string_view>

namespace Kelvra::SCADA::Codec {

/// Removes every global that is not part of the language.
void keepToLanguage(duk_context* context);

/// Returns whether a newer edition of the language than the engine's has a global of this name.
bool isNewerObject(std::string_view name);

/// Returns whether a newer edition of the language than the engine's has a function of this name in its own objects.
bool isNewerFunction(std::string_view name);

/// Returns whether scripts for another environment expect a global of this name.
bool isKnownElsewhere(std::string_view name);

} // namespace Kelvra::SCADA::Codec
