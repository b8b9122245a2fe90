#include "device/DefinitionDirectory.h"

#include "device/paths.h"

#include <scada/DefinitionsStorage.h>

#include <stdexcept>
#include <utility>

namespace Kelvra::SCADA::Tool {

Definition readDefinition(const std::string& dir, const std::string& name) {
    Definition definition;
    definition.name = name;
    definition.file = definitionFile(dir, name);
    DefinitionSpec spec;
    try {
        definition.verdict.valid = DefinitionsStorage{dir}.getSpec(name, &spec, &definition.verdict.state);
    } catch (const Json::Exception& e) {
        definition.verdict.abandoned = true;
        definition.verdict.state = e.what();
    }
    if (definition.verdict.valid)
        definition.verdict.state = "ok";
    definition.verdict.decoderPath = std::move(spec.decoderPath);
    definition.document = std::move(spec.json);
    return definition;
}

DefinitionDirectory::DefinitionDirectory(const std::string& path) : dir(path) {
    // Without a directory the root directory would be listed.
    if (!dir.empty())
        DefinitionsStorage{dir}.findNames(&listed);
}

Definition DefinitionDirectory::load(const std::string& name) {
    if (verdicts.count(name) != 0)
        throw std::logic_error("the definition [" + name + "] is read twice");
    Definition definition = readDefinition(dir, name);
    verdicts.emplace(name, definition.verdict);
    return definition;
}

const Verdict& DefinitionDirectory::verdict(const std::string& name) {
    const auto known = verdicts.find(name);
    if (known != verdicts.end())
        return known->second;
    load(name);
    return verdicts.at(name);
}

} // namespace Kelvra::SCADA::Tool
