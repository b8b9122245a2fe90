#pragma once

namespace Kelvra {
namespace Logger {

// This switch belongs to the stand-in. A device's support library has its own, so only programs linked to the stand-in
// use this one.

/// At this level nothing is printable.
const int LEVEL_OFF = -1;

/// Makes messages of this level and of all more severe levels printable, and no others. Any thread may call.
void setLevel(int level);

/// Returns the current level. Any thread may call.
int getLevel();

} // namespace Logger
} // namespace Kelvra
