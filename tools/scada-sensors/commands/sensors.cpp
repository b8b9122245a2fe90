#include "answer/Table.h"
#include "check/list_rules.h"
#include "commands/Command.h"
#include "commands/finding_text.h"
#include "commands/notes.h"
#include "device/Device.h"
#include "text/filled.h"
#include "text/library_texts.h"
#include "text/text.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <set>
#include <string>
#include <unordered_map>

namespace Kelvra::SCADA::Tool {

namespace {

Verdict verdictOn(Storages& storages, const std::string& name) {
    if (storages.lists(name))
        return storages.directoryFor(name).verdict(name);
    Verdict missing;
    missing.state = filled(LibraryText::DEFINITION_NOT_FOUND, {name});
    return missing;
}

ExitCode sensors(const std::string& definition, const Answer& answer) {
    Device device;
    const ManagedList& list = device.list();
    if (!list.isUsable())
        return failedFor(checkListFile(list), ExitCode::FAILED, answer, Json::Value(), "");
    Storages& storages = device.storages();
    Table table(answer.isJson(), {{"sensor", "SENSOR"}, {"definition", "DEFINITION"}, {"state", "STATE"}});
    std::unordered_map<std::string, Verdict> verdicts; // many sensors share one definition
    std::set<std::string> abandoned;
    for (const ListElement& element : list.elements()) {
        if (!element.isInForce())
            continue;
        const std::string name = element.definitionName();
        if (!definition.empty() && name != definition)
            continue;
        const auto [known, isNew] = verdicts.try_emplace(name);
        if (isNew)
            known->second = verdictOn(storages, name);
        table.add({element.sensorKey(), name, known->second.state});
        if (known->second.abandoned)
            abandoned.insert(name);
    }
    if (!definition.empty() && verdicts.empty() && !storages.lists(definition))
        return answerNoDefinition(definition, answer);
    noteFaultyElements(list, answer);
    noteUnreadableStorages(storages, answer);
    if (!abandoned.empty())
        return answer.failed(
            ExitCode::FAILED,
            filled("%s could not be read: scada-sensors check", {counted(abandoned.size(), "definition")}),
            table.result(), table.text());
    return answer.done(table.result(), table.text());
}

} // namespace

Run declareSensors(CLI::App& app) {
    const auto definition = std::make_shared<std::string>();
    app.add_option("--definition", *definition, "Only the sensors that use this definition")->type_name("NAME");
    return [definition](const Answer& answer) { return sensors(*definition, answer); };
}

} // namespace Kelvra::SCADA::Tool
