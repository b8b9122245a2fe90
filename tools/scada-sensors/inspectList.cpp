#include "inspect.h"

#include <map>

namespace Kelvra::SCADA::Tool {

namespace {

// Returns what is wrong with the definition that an element names, or nothing.
std::string definitionFault(const Storages& storages, const std::string& name) {
    const Definition definition = storages.read(name);
    if (definition.valid)
        return definition.spec.decoderPath.empty() ? "Sensor definition [" + name + "] has no decoder." : "";
    const Storage* storage = storages.find(name);
    if (storage == nullptr)
        return definition.state;
    return notFoundText(name) + " It is broken in the " + wordOf(storage->type) + " storage: " + definition.state;
}

// In the library's words, which skips whatever comes after the first one.
std::string duplicateFault(const ListElement& element) {
    const std::string owner = "element [" + std::to_string(*element.repeats) + "]";
    return "duplicate key id=[" + element.entry.id + "] src=[" + element.entry.src + "]. " +
           (*element.repeats < element.index ? "Skipping. The first one is " + owner + "."
                                             : "It is in " + owner + ", too.");
}

} // namespace

Faults inspectList(const ManagedList& list, const Storages& storages) {
    Faults faults = list.faults();
    std::map<std::string, std::string> definitionFaults; // many sensors share one definition
    for (const ListElement& element : list.elements()) {
        const auto add = [&](const std::string& text) {
            faults.push_back({list.file(), text, element.position, element.index});
        };
        for (const std::string& text : faultsOfElement(*element.value))
            add(text);
        if (element.repeats)
            add(duplicateFault(element));
        if (!element.hasDefinition)
            continue;
        const std::string name = element.definitionName();
        const auto [known, isNew] = definitionFaults.emplace(name, "");
        if (isNew)
            known->second = definitionFault(storages, name);
        if (!known->second.empty())
            add(known->second);
    }
    return faults;
}

} // namespace Kelvra::SCADA::Tool
