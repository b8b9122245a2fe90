#include "answer/Table.h"
#include "check/list_rules.h"
#include "check/stale_overrides.h"
#include "commands/Command.h"
#include "commands/definition_fields.h"
#include "commands/finding_text.h"
#include "commands/notes.h"
#include "device/Device.h"
#include "device/paths.h"
#include "text/filled.h"
#include "text/text.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr const char* BOTH = "both";

std::set<std::string> namesOf(const Storages& storages, const std::string& searched) {
    std::set<std::string> names;
    for (const STORAGE_TYPE type : {STORAGE_CUSTOM, STORAGE_DEFAULT}) {
        if (searched == BOTH || searched == wordOf(type))
            names.insert(storages.of(type).names().begin(), storages.of(type).names().end());
    }
    return names;
}

STORAGE_TYPE storageOf(const Storages& storages, const std::string& name, const std::string& searched) {
    if (searched == BOTH)
        return storages.decidingFor(name);
    return searched == wordOf(STORAGE_CUSTOM) ? STORAGE_CUSTOM : STORAGE_DEFAULT;
}

struct ListArguments {
    std::string searched = BOTH;
    bool unused = false;
};

ExitCode list(const ListArguments& asked, const Answer& answer) {
    Device device;
    if (asked.unused && !device.list().isUsable())
        return failedFor(checkListFile(device.list()), ExitCode::FAILED, answer, Json::Value(), "");
    const auto sensors = asked.unused ? device.list().sensorsByDefinition() : SensorsByDefinition();
    Storages& storages = device.storages();
    noteUnreadableStorages(storages, answer);
    Table table(answer.isJson(), {{"name", "NAME"},
                                  {"storage", "STORAGE"},
                                  {"file", nullptr},
                                  {"hides", "HIDES"},
                                  {"hidden_state", nullptr},
                                  {"decoder", "DECODER"},
                                  {"state", "STATE"}});
    std::size_t abandoned = 0;
    for (const std::string& name : namesOf(storages, asked.searched)) {
        if (sensors.count(name) != 0)
            continue;
        const STORAGE_TYPE type = storageOf(storages, name, asked.searched);
        const Definition definition = storages.of(type).load(name);
        const bool hides = type == STORAGE_CUSTOM && storages.isHiding(name);
        const DefaultSince since = type == STORAGE_CUSTOM ? defaultSince(storages, name) : DefaultSince::SAME;
        // In the text for people, the change is beside the storage that it concerns.
        table.add({name, wordOf(type), definition.file,
                   hiddenWords(hides, answer.isJson() ? DefaultSince::SAME : since), wordOf(since),
                   definition.verdict.decoderPath, definition.verdict.state});
        abandoned += definition.verdict.abandoned ? 1 : 0;
    }
    if (abandoned != 0)
        return answer.failed(ExitCode::FAILED,
                             filled("%s could not be read: scada-sensors check", {counted(abandoned, "definition")}),
                             table.result(), table.text());
    return answer.done(table.result(), table.text());
}

} // namespace

Run declareList(CLI::App& app) {
    const auto asked = std::make_shared<ListArguments>();
    app.add_option("--storage", asked->searched, "Which storages")
        ->check(CLI::IsMember({BOTH, wordOf(STORAGE_DEFAULT), wordOf(STORAGE_CUSTOM)}))
        ->type_name("STORAGE")
        ->capture_default_str();
    app.add_flag("--unused", asked->unused, "Only definitions that no managed sensor uses");
    return [asked](const Answer& answer) { return list(*asked, answer); };
}

} // namespace Kelvra::SCADA::Tool
