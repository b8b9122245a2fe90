#include "commands/limits.h"

#include <CLI/CLI.hpp>

namespace Kelvra::SCADA::Tool {

std::vector<CLI::Option*> declareLimits(CLI::App& app, IntakeLimits* limits) {
    return {app.add_option("--max-definition", limits->definition, "Largest definition that is accepted")
                ->type_name("BYTES")
                ->capture_default_str(),
            app.add_option("--max-decoder", limits->decoder, "Largest decoder, or other file, that is accepted")
                ->type_name("BYTES")
                ->capture_default_str(),
            app.add_option("--max-source", limits->source, "Largest sum of all files that is accepted")
                ->type_name("BYTES")
                ->capture_default_str(),
            app.add_option("--max-definitions", limits->definitions, "Most definitions that are accepted")
                ->type_name("N")
                ->capture_default_str()};
}

} // namespace Kelvra::SCADA::Tool
