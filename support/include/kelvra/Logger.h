#pragma once

namespace Kelvra {
/// Where the library writes its messages.
namespace Logger {

/// Levels and labels are objects of the provider: they are read at each call and never compared with each other.
namespace PrintLevel {
extern int ERROR_LEVEL;   ///< what was asked for cannot be done
extern int WARNING_LEVEL; ///< something is faulty and left out
extern int DEBUG_LEVEL;   ///< a connection came about
extern int TRACE_LEVEL;   ///< what the library does, step by step

extern const char* ERROR_LABEL;   ///< goes with messages of ERROR_LEVEL
extern const char* WARNING_LABEL; ///< goes with messages of WARNING_LEVEL
extern const char* DEBUG_LABEL;   ///< goes with messages of DEBUG_LEVEL
extern const char* TRACE_LABEL;   ///< goes with messages of TRACE_LEVEL
} // namespace PrintLevel

/// Returns whether a message of this level would be written now. Any thread may call.
bool isPrintable(int level);

/// Writes one message. Any thread may call.
void printfGeneric(int level, const char* label, const char* format, ...) __attribute__((format(printf, 3, 4)));

} // namespace Logger
} // namespace Kelvra
