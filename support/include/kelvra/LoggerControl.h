#pragma once

namespace Kelvra {
namespace Logger {

// The stand-in's own switch. A device's support library has another, so only programs linked to the stand-in use it.

/// The level at which nothing is printable.
const int LEVEL_OFF = -1;

/// Makes messages of this level and of all more severe ones printable, the rest not. Any thread may call.
void setLevel(int level);

/// Returns the level in force. Any thread may call.
int getLevel();

} // namespace Logger
} // namespace Kelvra
