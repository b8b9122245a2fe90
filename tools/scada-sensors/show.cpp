#include "Command.h"
#include "Facts.h"
#include "Output.h"
#include "Storages.h"

#include <scada/SensorDefinitions.h>

#include <CLI/CLI.hpp>

#include <memory>

namespace Kelvra::SCADA::Tool {

namespace {

struct Arguments {
    std::string name;
    std::string property;
};

ExitCode show(const Arguments& asked, bool wholeDefinition, Output& output) {
    const Storages storages;
    const Definition definition = storages.read(asked.name);
    Facts facts;
    facts.add("definition", asked.name);
    if (storages.find(asked.name) != nullptr)
        addDefinition(storages, asked.name, definition, &facts);
    if (definition.abandoned)
        return output.failed(definition.state, facts.result(), facts.text());

    SensorDefinitions registry(STORAGE_BOTH);
    std::string error;
    const Json::Value& value = wholeDefinition ? registry.getDefinition(asked.name, nullptr, &error)
                                               : registry.getMeasurement(asked.name, asked.property, &error);
    if (value.isNull())
        return output.failed(error, facts.result(), facts.text());
    if (!wholeDefinition)
        facts.add("property", asked.property);
    facts.addDocument(wholeDefinition ? "document" : "description", value);
    return output.done(facts.result(), facts.text());
}

} // namespace

Run declareShow(CLI::App& app) {
    const auto arguments = std::make_shared<Arguments>();
    app.add_option("NAME", arguments->name, "Definition, as in lora/maker/model")->required();
    const CLI::Option* property = app.add_option("PROPERTY", arguments->property, "One property instead of all");
    return [arguments, property](Output& output) { return show(*arguments, property->count() == 0, output); };
}

} // namespace Kelvra::SCADA::Tool
