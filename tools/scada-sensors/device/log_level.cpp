#include "device/log_level.h"

#include <kelvra/Logger.h>
#include <kelvra/LoggerControl.h>

namespace Kelvra::Logger {

// Beyond the support contract: null when the support library that the tool runs with does not have it.
void setLevel(int level) __attribute__((weak)); // NOLINT(readability-redundant-declaration)

} // namespace Kelvra::Logger

namespace Kelvra::SCADA::Tool {

namespace {

int levelOf(const std::string& word) {
    if (word == "error")
        return Logger::PrintLevel::ERROR_LEVEL;
    if (word == "warning")
        return Logger::PrintLevel::WARNING_LEVEL;
    if (word == "debug")
        return Logger::PrintLevel::DEBUG_LEVEL;
    return word == "trace" ? Logger::PrintLevel::TRACE_LEVEL : Logger::LEVEL_OFF;
}

} // namespace

bool setLogLevel(const std::string& level) {
    if (Logger::setLevel == nullptr)
        return false;
    Logger::setLevel(levelOf(level));
    return true;
}

} // namespace Kelvra::SCADA::Tool
