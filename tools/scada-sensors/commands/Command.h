#pragma once

#include "answer/Answer.h"

#include <functional>
#include <vector>

namespace CLI {
class App;
}

namespace Kelvra::SCADA::Tool {

/// Carries out a command with the arguments that its declaration has collected.
using Run = std::function<ExitCode(const Answer& answer)>;

struct Command {
    const char* name;
    const char* synopsis;
    const char* summary;
    /// Declares the command's own options and operands on `app`. Returns the function to run after they were parsed.
    Run (*declare)(CLI::App& app);
    bool onImages = false; ///< whether it works on the files of another device
};

/// The table of commands, in the order in which the help shows them.
const std::vector<Command>& commands();

Run declareList(CLI::App& app);
Run declareShow(CLI::App& app);
Run declareCheck(CLI::App& app);
Run declareDiff(CLI::App& app);
Run declareSensors(CLI::App& app);
Run declareResolve(CLI::App& app);
Run declareDecode(CLI::App& app);
Run declareDb(CLI::App& app);
Run declareWatch(CLI::App& app);
Run declareInstall(CLI::App& app);
Run declareRemove(CLI::App& app);
Run declareDoctor(CLI::App& app);
Run declareExport(CLI::App& app);
Run declareRollback(CLI::App& app);
Run declareHistory(CLI::App& app);
Run declareRead(CLI::App& app);
Run declareRecover(CLI::App& app);
Run declareReport(CLI::App& app);

} // namespace Kelvra::SCADA::Tool
