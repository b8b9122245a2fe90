#pragma once

#include <string>
#include <vector>

namespace Kelvra::SCADA::Test {

struct ToolRun {
    int status; ///< the exit status, or 128 and the number of the signal that ended it
    std::string out;
    std::string err;
};

/// Returns the words that start the host tool: an emulator where one is needed, the tool, the arguments.
std::vector<std::string> toolCommand(const std::vector<std::string>& arguments);

/// Runs the host tool to its end. File permissions hold for it even when the tests run as root. With a `stdoutPath` its
/// standard output goes there and `out` stays empty.
ToolRun runTool(const std::vector<std::string>& arguments, const std::string& stdinText = "",
                const std::string& stdoutPath = "");

/// Runs the host tool in the same way from a shell, with what a shell makes of `redirections`, as in ">&-".
ToolRun runToolWith(const std::string& redirections, const std::vector<std::string>& arguments);

} // namespace Kelvra::SCADA::Test
