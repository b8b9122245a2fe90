#include "commands/definitionFields.h"

#include "answer/json.h"

namespace Kelvra::SCADA::Tool {

void addDefinition(const Storages& storages, const Definition& definition, FieldList* fields) {
    fields->add("storage", wordOf(storages.decidingFor(definition.name)));
    fields->add("file", definition.file);
    fields->add("hides", orNull(storages.isHiding(definition.name) ? wordOf(STORAGE_DEFAULT) : ""));
    fields->add("decoder", orNull(definition.verdict.decoderPath));
    fields->add("state", definition.verdict.state);
}

} // namespace Kelvra::SCADA::Tool
