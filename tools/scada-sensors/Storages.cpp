#include "Storages.h"

#include "Facts.h"

#include <scada/DefinitionsStorage.h>
#include <scada/Env.h>

#include <json/value.h>

namespace Kelvra::SCADA::Tool {

namespace {

Storage openStorage(STORAGE_TYPE type, const std::string& dir) {
    Storage storage{type, dir, {}};
    // A load skips a storage without a directory; listing it would read the root directory.
    if (!dir.empty())
        DefinitionsStorage{dir}.findNames(&storage.names);
    return storage;
}

} // namespace

const char* wordOf(STORAGE_TYPE storage) {
    return storage == STORAGE_CUSTOM ? "custom" : "default";
}

std::string definitionFile(const std::string& dir, const std::string& name) {
    return dir + "/" + name + ".json";
}

std::string notFoundText(const std::string& name) {
    // A storage without a directory gives the library's own words and touches no file.
    std::string text;
    DefinitionsStorage{""}.getSpec(name, nullptr, &text);
    return text;
}

Definition readDefinition(const std::string& dir, const std::string& name) {
    Definition definition;
    definition.file = definitionFile(dir, name);
    try {
        definition.valid = DefinitionsStorage{dir}.getSpec(name, &definition.spec, &definition.state);
    } catch (const Json::Exception& e) {
        definition.abandoned = true;
        definition.state = e.what();
    }
    if (definition.valid)
        definition.state = "ok";
    return definition;
}

Storages::Storages()
    : custom(openStorage(STORAGE_CUSTOM, Env::inst().conf().getDfnCustomDir())),
      standard(openStorage(STORAGE_DEFAULT, Env::inst().conf().getDfnDefaultDir())) {}

const Storage* Storages::find(const std::string& name) const {
    if (custom.names.count(name) != 0)
        return &custom;
    return standard.names.count(name) != 0 ? &standard : nullptr;
}

bool Storages::isHiding(const std::string& name) const {
    return custom.names.count(name) != 0 && standard.names.count(name) != 0;
}

Definition Storages::read(const std::string& name) const {
    if (const Storage* storage = find(name))
        return readDefinition(storage->dir, name);
    Definition none;
    none.state = notFoundText(name);
    return none;
}

void addDefinition(const Storages& storages, const std::string& name, const Definition& definition, Facts* facts) {
    facts->add("storage", wordOf(storages.find(name)->type));
    facts->add("file", definition.file);
    facts->add("hides", orNull(storages.isHiding(name) ? wordOf(STORAGE_DEFAULT) : ""));
    facts->add("decoder", orNull(definition.spec.decoderPath));
    facts->add("state", definition.state);
}

Json::Value orNull(const std::string& text) {
    return text.empty() ? Json::Value() : Json::Value(text);
}

} // namespace Kelvra::SCADA::Tool
