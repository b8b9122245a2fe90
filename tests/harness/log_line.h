#pragma once

#include "FakeSupport.h"

#include <kelvra/Logger.h>

#include <string>
#include <utility>

namespace Kelvra::SCADA::Test {

// Returns the log line of a message of this level and text, with the present level and label objects.

inline FakeSupport::LogLine errorLine(std::string text) {
    return {Logger::PrintLevel::ERROR_LEVEL, Logger::PrintLevel::ERROR_LABEL, std::move(text)};
}

inline FakeSupport::LogLine warningLine(std::string text) {
    return {Logger::PrintLevel::WARNING_LEVEL, Logger::PrintLevel::WARNING_LABEL, std::move(text)};
}

inline FakeSupport::LogLine traceLine(std::string text) {
    return {Logger::PrintLevel::TRACE_LEVEL, Logger::PrintLevel::TRACE_LABEL, std::move(text)};
}

} // namespace Kelvra::SCADA::Test
