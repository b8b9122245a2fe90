#pragma once

#include <kelvra/Logger.h>

/// Writes one log message. LEVEL is ERROR, WARNING, DEBUG or TRACE; the rest is a printf format and its arguments.
/// A macro, because the arguments of a suppressed message must not even be evaluated.
#define SCADA_LOG(LEVEL, ...)                                                                                          \
    do {                                                                                                               \
        const int scadaLogLevel = ::Kelvra::Logger::PrintLevel::LEVEL##_LEVEL;                                         \
        if (::Kelvra::Logger::isPrintable(scadaLogLevel))                                                              \
            ::Kelvra::Logger::printfGeneric(scadaLogLevel, ::Kelvra::Logger::PrintLevel::LEVEL##_LABEL, __VA_ARGS__);  \
    } while (false)
