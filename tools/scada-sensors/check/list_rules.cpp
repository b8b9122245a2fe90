#include "check/list_rules.h"

#include "text/filled.h"
#include "text/library_texts.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>

namespace Kelvra::SCADA::Tool {

namespace {

const Rule& ruleOf(const std::string& member) {
    if (member.empty())
        return Rules::LIST_ELEMENT_NOT_AN_OBJECT;
    if (member == SensorMapEntry::JSON_ATTR_ID)
        return Rules::LIST_BAD_IDENTIFIER;
    return member == SensorMapEntry::JSON_ATTR_SRC ? Rules::LIST_BAD_SOURCE : Rules::LIST_BAD_DEFINITION_NAME;
}

Place placeOf(const ManagedList& list, const ListElement& element) {
    return {list.file(), list.positionOf(element), element.index};
}

std::string duplicateText(const ListElement& element) {
    const std::string owner = std::to_string(*element.repeats);
    const std::string text = filled(LibraryText::DUPLICATE_KEY, {element.entry.id, element.entry.src});
    return *element.repeats < element.index ? filled("%s The first one is element [%s].", {text, owner})
                                            : filled("%s Element [%s] is used for it.", {text, owner});
}

// A fault of the definition that elements name; its place is that of the element.
struct DefinitionFault {
    const Rule* rule;
    std::string text;
};

std::optional<DefinitionFault> checkNamedDefinition(Storages& storages, const std::string& name) {
    if (!storages.lists(name))
        return DefinitionFault{&Rules::LIST_DEFINITION_MISSING, filled(LibraryText::DEFINITION_NOT_FOUND, {name})};
    const Verdict& verdict = storages.directoryFor(name).verdict(name);
    if (!verdict.valid)
        return DefinitionFault{&Rules::LIST_DEFINITION_BROKEN,
                               filled("Sensor definition [%s] is broken in the %s storage: %s",
                                      {name, wordOf(storages.decidingFor(name)), verdict.state})};
    if (verdict.decoderPath.empty())
        return DefinitionFault{&Rules::LIST_NO_DECODER, filled("Sensor definition [%s] has no decoder.", {name})};
    return std::nullopt;
}

} // namespace

Findings checkListFile(const ManagedList& list) {
    if (list.isUsable())
        return {};
    const JsonFile& json = list.json();
    if (!json.isRead())
        return {{Rules::LIST_UNREADABLE,
                 {list.file()},
                 filled(LibraryText::LIST_NOT_OPENED, {list.file()}) + ": " + json.errors()[0].text}};
    Findings findings;
    for (const JsonFile::Error& error : json.errors())
        findings.push_back({json.isAbandoned() ? Rules::LIST_TOO_DEEP : Rules::LIST_SYNTAX,
                            {list.file(), error.position},
                            filled(LibraryText::LIST_NOT_PARSED, {list.file(), error.text})});
    if (findings.empty())
        findings.push_back({Rules::LIST_NOT_AN_ARRAY,
                            {list.file(), json.positionOf(json.root())},
                            filled(LibraryText::LIST_NOT_PARSED, {list.file(), LibraryText::LIST_NOT_AN_ARRAY})});
    return findings;
}

Findings checkElement(const ManagedList& list, const ListElement& element) {
    if (element.isInForce())
        return {};
    Findings findings;
    for (const ElementFault& fault : faultsOf(list.valueOf(element)))
        findings.push_back({ruleOf(fault.member), placeOf(list, element), fault.text});
    if (element.repeats)
        findings.push_back({Rules::LIST_DUPLICATE, placeOf(list, element), duplicateText(element)});
    return findings;
}

Finding missingDefinition(const ManagedList& list, const ListElement& element) {
    return {Rules::LIST_DEFINITION_MISSING, placeOf(list, element),
            filled(LibraryText::DEFINITION_NOT_FOUND, {element.definitionName()})};
}

Findings checkList(const ManagedList& list, Storages& storages) {
    return checkListWith({}, list, storages, SIZE_MAX);
}

Findings checkListWith(const std::set<std::string>& definitions, const ManagedList& list, Storages& storages,
                       std::size_t most) {
    Findings findings = checkListFile(list);
    std::map<std::string, std::optional<DefinitionFault>> known; // many sensors share one definition
    for (const ListElement& element : list.elements()) {
        if (findings.size() > most)
            break;
        append(checkElement(list, element), &findings);
        if (!element.hasDefinition || definitions.count(element.definitionName()) != 0)
            continue;
        const auto [at, isNew] = known.try_emplace(element.definitionName());
        if (isNew)
            at->second = checkNamedDefinition(storages, at->first);
        if (at->second)
            findings.push_back({*at->second->rule, placeOf(list, element), at->second->text});
    }
    return findings;
}

std::size_t faultyElements(const ManagedList& list) {
    const std::vector<ListElement>& elements = list.elements();
    return static_cast<std::size_t>(std::count_if(elements.begin(), elements.end(),
                                                  [](const ListElement& element) { return !element.isInForce(); }));
}

} // namespace Kelvra::SCADA::Tool
