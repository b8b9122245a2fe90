#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace Kelvra::SCADA::Tool {

/// The first argument with which the shell asks for completions; the words of the command line follow it.
constexpr const char* COMPLETION_WORD = "--complete";

/// Returns the possible replacements of the last of `words`. The first line is "words", "directories" or "files"; with
/// the latter two, the shell offers paths. Below "words" are commands, options, values and names from the device, one
/// per line.
std::string completionsFor(CLI::App& app, const std::vector<std::string>& words);

} // namespace Kelvra::SCADA::Tool
