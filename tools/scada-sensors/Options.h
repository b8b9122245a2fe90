#pragma once

namespace CLI {
class App;
}

namespace Kelvra::SCADA::Tool {

/// Declares the options of all commands. Parsing puts them into Env and the logger, and whether the answer is wanted as
/// JSON into `*json`.
void declareOptions(CLI::App& app, bool* json);

} // namespace Kelvra::SCADA::Tool
