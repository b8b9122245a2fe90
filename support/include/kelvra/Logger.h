#pragma once

namespace Kelvra {
/// The log that the library writes its messages to.
namespace Logger {

/// Levels and labels are objects of the provider. The library reads them at each call and never compares them.
namespace PrintLevel {
extern int ERROR_LEVEL;   ///< a request cannot be carried out
extern int WARNING_LEVEL; ///< something is faulty and is left out
extern int DEBUG_LEVEL;   ///< a connection was made
extern int TRACE_LEVEL;   ///< the library's work, step by step

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
