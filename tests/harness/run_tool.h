#pragma once

#include <string>
#include <vector>

namespace Kelvra::SCADA::Test {

struct ToolRun {
    int status; ///< the exit status, or 128 plus the number of the signal that ended it
    std::string out;
    std::string err;
};

/// Returns the words that start the host tool: an emulator if one is needed, the tool, the arguments.
std::vector<std::string> toolCommand(const std::vector<std::string>& arguments);

/// Runs the host tool to its end. File permissions apply to it even if the tests run as root. With a `stdoutPath`,
/// standard output goes to that file and `out` stays empty.
ToolRun runTool(const std::vector<std::string>& arguments, const std::string& stdinText = "",
                const std::string& stdoutPath = "");

/// Runs the host tool in the same way from a shell, with `redirections` as in ">&-".
ToolRun runToolWith(const std::string& redirections, const std::vector<std::string>& arguments);

} // namespace Kelvra::SCADA::Test
