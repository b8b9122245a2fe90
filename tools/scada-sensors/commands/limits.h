#pragma once

#include "install/IntakeLimits.h"

#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace Kelvra::SCADA::Tool {

/// Declares the options that change the limits of a source. Returns them. Valid as long as the application.
std::vector<CLI::Option*> declareLimits(CLI::App& app, IntakeLimits* limits);

} // namespace Kelvra::SCADA::Tool
