#include "Command.h"
#include "Output.h"
#include "Storages.h"
#include "text.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace Kelvra::SCADA::Tool {

namespace {

std::set<std::string> namesOf(const Storages& storages, const std::string& searched) {
    std::set<std::string> names;
    for (const STORAGE_TYPE type : {STORAGE_CUSTOM, STORAGE_DEFAULT}) {
        const Storage& storage = storages.of(type);
        if (searched == "both" || searched == wordOf(type))
            names.insert(storage.names.begin(), storage.names.end());
    }
    return names;
}

ExitCode list(const std::string& searched, Output& output) {
    const Storages storages;
    Json::Value result(Json::arrayValue);
    std::vector<std::vector<std::string>> rows = {{"NAME", "STORAGE", "HIDES", "DECODER", "STATE"}};
    std::size_t abandoned = 0;
    for (const std::string& name : namesOf(storages, searched)) {
        const Storage& storage =
            searched == "both" ? *storages.find(name)
                               : storages.of(searched == wordOf(STORAGE_CUSTOM) ? STORAGE_CUSTOM : STORAGE_DEFAULT);
        const Definition definition = readDefinition(storage.dir, name);
        const bool hides = storage.type == STORAGE_CUSTOM && storages.isHiding(name);
        const std::string& decoder = definition.spec.decoderPath;
        Json::Value& item = result.append(Json::objectValue);
        item["name"] = name;
        item["storage"] = wordOf(storage.type);
        item["file"] = definition.file;
        item["hides"] = orNull(hides ? wordOf(STORAGE_DEFAULT) : "");
        item["decoder"] = orNull(decoder);
        item["state"] = definition.state;
        rows.push_back(
            {name, wordOf(storage.type), hides ? "default" : "-", decoder.empty() ? "-" : decoder, definition.state});
        abandoned += definition.abandoned ? 1 : 0;
    }
    if (abandoned != 0)
        return output.failed(counted(abandoned, "definition") + " could not be read", result, table(rows));
    return output.done(result, table(rows));
}

} // namespace

Run declareList(CLI::App& app) {
    const auto searched = std::make_shared<std::string>("both");
    app.add_option("--storage", *searched, "Which storages")
        ->check(CLI::IsMember({"both", "default", "custom"}))
        ->type_name("STORAGE")
        ->capture_default_str();
    return [searched](Output& output) { return list(*searched, output); };
}

} // namespace Kelvra::SCADA::Tool
