#include "check/list_rules.h"
#include "check/storage_rules.h"
#include "codec/codec_rules.h"
#include "commands/Command.h"
#include "commands/apart.h"
#include "commands/finding_text.h"
#include "commands/limits.h"
#include "device/Device.h"
#include "device/image.h"
#include "device/owner_of_storage.h"
#include "install/Preflight.h"
#include "text/filled.h"
#include "text/text.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <vector>

namespace Kelvra::SCADA::Tool {

namespace {

ExitCode answerWith(const Findings& findings, const std::string& checked, Json::Value result, const Answer& answer) {
    const std::size_t faults = faultCount(findings);
    const std::string summary = filled("%s in %s", {counted(faults, "fault"), checked});
    if (answer.isJson())
        result["findings"] = toJson(findings);
    const std::string text = answer.isJson() ? "" : toText(findings, standardOutput()) + summary + "\n";
    if (faults == 0)
        return answer.done(result, text);
    return answer.failedAsTold(ExitCode::FAILED, summary, result, text);
}

ExitCode checkDevice(bool codec, const Answer& answer) {
    Device device;
    CodecCheck decoders(codec);
    Findings findings =
        checkStorages(device.storages(), [&decoders](const Definition& definition, DefinitionPlaces* places) {
            return checkSchemaAndDecoder(definition, &decoders, places);
        });
    append(decoders.missingRunner(), &findings);
    append(checkList(device.list(), device.storages()), &findings);
    const std::size_t definitions =
        device.storages().of(STORAGE_DEFAULT).names().size() + device.storages().of(STORAGE_CUSTOM).names().size();
    const std::size_t elements = device.list().elements().size();
    Json::Value result(Json::objectValue);
    result["definitions"] = static_cast<Json::UInt64>(definitions);
    result["elements"] = static_cast<Json::UInt64>(elements);
    return answerWith(findings, counted(definitions, "definition") + " and " + counted(elements, "list element"),
                      result, answer);
}

ExitCode checkSource(const InstallRequest& request, const Answer& answer) {
    const ReadAccess access;
    Device device;
    const Preflight preflight = examine(request, device);
    Json::Value result(Json::objectValue);
    result["definitions"] = static_cast<Json::UInt64>(preflight.definitions.size());
    return answerWith(preflight.findings, counted(preflight.definitions.size(), "definition"), result, answer);
}

} // namespace

Run declareCheck(CLI::App& app) {
    const auto request = std::make_shared<InstallRequest>();
    const CLI::Option* source = app.add_option(
        "SRC", request->source, "An installation source, as for install, checked instead of the storages and the list");
    CLI::Option* const overwrite = app.add_flag("--allow-overwrite", request->allowOverwrite,
                                                "Accept a source with definitions that are installed already");
    declareNoCodec(app, &request->codec);
    std::vector<CLI::Option*> ofSource = declareLimits(app, &request->limits);
    ofSource.insert(
        ofSource.begin(),
        {overwrite, declareWithList(app, "Check the managed-sensors list of the source, too", &request->withList)});
    return [request, source, ofSource](const Answer& answer) {
        if (source->count() != 0 && isImage())
            return answer.badUsage(filled("SRC and --root do not go together"));
        if (source->count() != 0)
            return runApart(answer, [&](SignalGuard& /*guard*/) { return checkSource(*request, answer); });
        for (const CLI::Option* option : ofSource) {
            if (option->count() != 0)
                return answer.badUsage(filled("%s needs SRC", {option->get_name()}));
        }
        return checkDevice(request->codec, answer);
    };
}

} // namespace Kelvra::SCADA::Tool
