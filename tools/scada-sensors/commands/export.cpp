#include "commands/Command.h"
#include "commands/apart.h"
#include "commands/operation.h"
#include "device/GenerationPaths.h"
#include "device/paths.h"
#include "install/export_archive.h"
#include "text/filled.h"

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <exception>
#include <memory>
#include <string>

namespace Kelvra::SCADA::Tool {

namespace {

// A special file may make the export wait: only a regular file is completed in spite of a signal.
ExitCode exportTo(const std::string& file, SignalGuard& guard, const Answer& answer) {
    const bool toOutput = file == "-";
    if (toOutput && answer.isJson())
        return answer.badUsage(filled("--json and an archive cannot both go to standard output"));
    if (toOutput && isatty(STDOUT_FILENO) != 0)
        return answer.badUsage(filled("an archive does not go to a terminal; redirect it, or give a file"));
    if (isInterrupted(GenerationPaths::ofDevice()))
        return answerInterrupted(answer);
    if (!toOutput && isOfDevice(file))
        return answer.failed(ExitCode::REFUSED, filled("[%s] is a file of the device; give another name", {file}));
    try {
        exportArchive(file, [&guard] { guard.begin(); });
    } catch (const std::exception& e) {
        return answer.failed(ExitCode::FAILED, e.what());
    }
    Json::Value result(Json::objectValue);
    result["file"] = file;
    tellSignal(guard, answer, &result);
    return toOutput ? ExitCode::DONE : answer.done(result, "");
}

} // namespace

Run declareExport(CLI::App& app) {
    const auto file = std::make_shared<std::string>();
    app.add_option("FILE", *file, "Archive to write, tar with gzip; - is standard output")->required();
    // The owner of the storage can exchange its content: no more is read than that user may read.
    return [file](const Answer& answer) {
        return runApart(answer, [&](SignalGuard& guard) { return exportTo(*file, guard, answer); });
    };
}

} // namespace Kelvra::SCADA::Tool
