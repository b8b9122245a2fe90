#include "answer/FieldList.h"
#include "answer/json.h"
#include "check/definition_rules.h"
#include "codec/Runner.h"
#include "codec/codec_rules.h"
#include "commands/Command.h"
#include "commands/definition_fields.h"
#include "commands/finding_text.h"
#include "commands/notes.h"
#include "device/Device.h"
#include "text/Descriptor.h"
#include "text/filled.h"
#include "text/library_texts.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <optional>
#include <utility>

namespace Kelvra::SCADA::Tool {

namespace {

struct ShowArguments {
    std::string name;
    std::string property;
};

std::string wordsOf(const LoadResult& loaded, const std::string& decoder) {
    if (const std::optional<Finding> fault = loadingFault(loaded, decoder))
        return "- (" + fault->text + ")";
    return loaded.entryPoint == STANDARD_ENTRY_POINT ? loaded.entryPoint : filled("%s (old)", {loaded.entryPoint});
}

// Only the decoder itself can tell: many create the function while they run.
void addEntryPoint(const Definition& definition, FieldList* fields) {
    const std::string& decoder = definition.verdict.decoderPath;
    std::string script;
    if (decoder.empty() || !isRunnerThere() || !readRegularFile(decoder, &script).empty())
        return;
    const LoadResult loaded = Runner(std::move(script), decoder).load();
    fields->add("entry", orNull(loaded.entryPoint), wordsOf(loaded, decoder));
}

ExitCode show(const ShowArguments& asked, bool wholeDefinition, const Answer& answer) {
    Device device;
    Storages& storages = device.storages();
    noteUnreadableStorages(storages, answer);
    FieldList fields;
    fields.add("definition", asked.name);
    if (!storages.lists(asked.name))
        return answerNoDefinition(asked.name, answer, fields.result());
    const Definition definition = storages.directoryFor(asked.name).load(asked.name);
    addDefinition(storages, definition, &fields);
    if (!definition.verdict.valid)
        return failedFor(checkDefinition(definition), ExitCode::FAILED, answer, fields.result(), fields.text());
    addEntryPoint(definition, &fields);
    if (wholeDefinition) {
        fields.addDocument("document", definition.document);
        return answer.done(fields.result(), fields.text());
    }
    const Json::Value& property = definition.document[SensorDefinitions::JSON_PROPERTIES_SECTION][asked.property];
    if (!property.isObject())
        return answer.failed(ExitCode::NOT_FOUND, filled(LibraryText::PROPERTY_NOT_FOUND, {asked.name, asked.property}),
                             fields.result(), fields.text());
    fields.add("property", asked.property);
    fields.addDocument("description", property);
    return answer.done(fields.result(), fields.text());
}

} // namespace

Run declareShow(CLI::App& app) {
    const auto arguments = std::make_shared<ShowArguments>();
    app.add_option("NAME", arguments->name, "Definition, as in lora/maker/model")->required();
    const CLI::Option* property = app.add_option("PROPERTY", arguments->property, "One property instead of all");
    return [arguments, property](const Answer& answer) { return show(*arguments, property->count() == 0, answer); };
}

} // namespace Kelvra::SCADA::Tool
