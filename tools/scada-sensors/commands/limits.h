#pragma once

#include "install/IntakeLimits.h"

#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace Kelvra::SCADA::Tool {

/// Declares the options that change the limits of a source. Returns them. Valid as long as the application.
std::vector<CLI::Option*> declareLimits(CLI::App& app, IntakeLimits* limits);

/// Declares the option that takes the managed-sensors list of the source, too. Valid as long as the application.
CLI::Option* declareWithList(CLI::App& app, const std::string& help, bool* withList);

/// Declares the option that skips the decoders. `*codec` is whether they are run.
void declareNoCodec(CLI::App& app, bool* codec);

} // namespace Kelvra::SCADA::Tool
