#pragma once

#include <duktape.h>

#include <string_view>

namespace Kelvra::SCADA::Codec {

/// Removes everything from the globals that is not part of the language.
void keepToLanguage(duk_context* context);

/// Returns whether the language has a global of this name in newer editions than the engine's.
bool isNewerObject(std::string_view name);

/// Returns whether the language's own objects have a function of this name in newer editions than the engine's.
bool isNewerFunction(std::string_view name);

/// Returns whether scripts of other surroundings expect a global of this name.
bool isKnownElsewhere(std::string_view name);

} // namespace Kelvra::SCADA::Codec
