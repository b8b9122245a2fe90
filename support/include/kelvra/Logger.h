#pragma once

namespace Kelvra {
namespace Logger {

/// Levels and labels are objects of the provider: they are read at each call and never compared with each other.
namespace PrintLevel {
extern int ERROR_LEVEL;
extern int WARNING_LEVEL;
extern int DEBUG_LEVEL;
extern int TRACE_LEVEL;

extern const char* ERROR_LABEL;
extern const char* WARNING_LABEL;
extern const char* DEBUG_LABEL;
extern const char* TRACE_LABEL;
} // namespace PrintLevel

/// Returns whether a message of this level would be written now. Any thread may call.
bool isPrintable(int level);

/// Writes one message. Any thread may call.
void printfGeneric(int level, const char* label, const char* format, ...) __attribute__((format(printf, 3, 4)));

} // namespace Logger
} // namespace Kelvra
