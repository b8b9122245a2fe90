#include "commands/Command.h"
#include "commands/apart.h"
#include "install/exportArchive.h"
#include "text/filled.h"

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <exception>
#include <memory>
#include <string>

namespace Kelvra::SCADA::Tool {

namespace {

ExitCode exportTo(const std::string& file, const Answer& answer) {
    const bool toOutput = file == "-";
    if (toOutput && answer.isJson())
        return answer.badUsage(filled("--json and an archive cannot both go to standard output"));
    if (toOutput && isatty(STDOUT_FILENO) != 0)
        return answer.badUsage(filled("an archive does not go to a terminal; redirect it, or give a file"));
    try {
        exportArchive(file);
    } catch (const std::exception& e) {
        return answer.failed(ExitCode::FAILED, e.what());
    }
    Json::Value result(Json::objectValue);
    result["file"] = file;
    return toOutput ? ExitCode::DONE : answer.done(result, "");
}

} // namespace

Run declareExport(CLI::App& app) {
    const auto file = std::make_shared<std::string>();
    app.add_option("FILE", *file, "Archive to write, tar with gzip; - is standard output")->required();
    // Its owner can exchange what is in the storage: no more is read than that user may read.
    return [file](const Answer& answer) { return runAsOwner(answer, [&] { return exportTo(*file, answer); }); };
}

} // namespace Kelvra::SCADA::Tool
