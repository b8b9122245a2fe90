#include "Command.h"
#include "Output.h"
#include "inspect.h"
#include "text.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace Kelvra::SCADA::Tool {

namespace {

void append(const Faults& more, Faults* faults) {
    faults->insert(faults->end(), more.begin(), more.end());
}

void addHidden(const Storages& storages, Faults* notes) {
    const Storage& custom = storages.of(STORAGE_CUSTOM);
    for (const std::string& name : custom.names) {
        if (storages.isHiding(name))
            notes->push_back({definitionFile(custom.dir, name), "hides the default definition [" + name + "]"});
    }
}

ExitCode answer(const Inspection& inspection, const std::string& checked, Json::Value result, Output& output) {
    const std::string summary = counted(inspection.faults.size(), "fault") + " in " + checked;
    std::string text;
    for (const Fault& fault : inspection.faults)
        text += toText(fault) + "\n";
    for (const Fault& note : inspection.notes)
        text += "note: " + toText(note) + "\n";
    text += summary + "\n";
    result["faults"] = toJson(inspection.faults);
    result["notes"] = toJson(inspection.notes);
    if (inspection.faults.empty())
        return output.done(result, text);
    return output.failedAsTold(summary, result, text);
}

ExitCode checkDevice(Output& output) {
    const Storages storages;
    const ManagedList list;
    Inspection all;
    for (const STORAGE_TYPE type : {STORAGE_DEFAULT, STORAGE_CUSTOM}) {
        const Inspection one = inspectStorage(storages.of(type));
        all.definitions += one.definitions;
        append(one.faults, &all.faults);
        append(one.notes, &all.notes);
    }
    addHidden(storages, &all.notes);
    append(inspectList(list, storages), &all.faults);
    const std::size_t elements = list.elements().size();
    Json::Value result(Json::objectValue);
    result["definitions"] = static_cast<Json::UInt64>(all.definitions);
    result["elements"] = static_cast<Json::UInt64>(elements);
    return answer(all, counted(all.definitions, "definition") + " and " + counted(elements, "list element"), result,
                  output);
}

ExitCode checkSource(const std::string& srcDir, Output& output) {
    const Inspection inspection = inspectSource(srcDir);
    Json::Value result(Json::objectValue);
    result["definitions"] = static_cast<Json::UInt64>(inspection.definitions);
    return answer(inspection, counted(inspection.definitions, "definition"), result, output);
}

} // namespace

Run declareCheck(CLI::App& app) {
    const auto srcDir = std::make_shared<std::string>();
    const CLI::Option* given =
        app.add_option("SRC_DIR", *srcDir, "An installation source, checked instead of the storages and the list");
    return [srcDir, given](Output& output) {
        return given->count() != 0 ? checkSource(*srcDir, output) : checkDevice(output);
    };
}

} // namespace Kelvra::SCADA::Tool
