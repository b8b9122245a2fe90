#include "commands/definition_fields.h"

#include "answer/json.h"

namespace Kelvra::SCADA::Tool {

void addDefinition(const Storages& storages, const Definition& definition, FieldList* fields) {
    fields->add("storage", wordOf(storages.decidingFor(definition.name)));
    fields->add("file", definition.file);
    fields->add("hides", orNull(storages.isHiding(definition.name) ? wordOf(STORAGE_DEFAULT) : ""));
    fields->add("decoder", orNull(definition.verdict.decoderPath));
    fields->add("state", definition.verdict.state);
}

std::string memberOf(const Json::Value& properties, const std::string& property, const char* member) {
    const Json::Value& description = properties[property];
    return description.isObject() && description[member].isString() ? description[member].asString() : "";
}

std::string hiddenWords(bool hides, DefaultSince since) {
    if (since != DefaultSince::SAME)
        return std::string(wordOf(STORAGE_DEFAULT)) + " (" + wordOf(since) + ")";
    return hides ? wordOf(STORAGE_DEFAULT) : "";
}

std::string orDash(const std::string& text) {
    return text.empty() ? "-" : text;
}

} // namespace Kelvra::SCADA::Tool
