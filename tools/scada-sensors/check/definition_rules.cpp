#include "check/definition_rules.h"

#include "text/filled.h"
#include "text/json_file.h"
#include "text/library_texts.h"

#include <scada/DefinitionsStorage.h>

#include <algorithm>

namespace Kelvra::SCADA::Tool {

namespace {

const std::string& SECTION = DefinitionsStorage::JSON_PROPERTIES_SECTION;
const std::string& DECODER = DefinitionsStorage::JSON_DECODER_SECTION;

bool isSound(const Definition& definition) {
    if (!definition.verdict.valid)
        return false;
    const Json::Value& properties = definition.document[SECTION];
    return std::all_of(properties.begin(), properties.end(), [](const Json::Value& one) { return one.isObject(); });
}

// For a file that is not JSON: the library's verdict together with the reader's messages.
Findings checkUnreadable(const Definition& definition, const JsonFile& json) {
    const std::string& state = definition.verdict.state;
    if (!json.isRead())
        return {{Rules::DEFINITION_UNREADABLE, {definition.file}, state + " " + json.errors()[0].text}};
    Findings findings;
    for (const JsonFile::Error& error : json.errors()) {
        if (json.isAbandoned())
            findings.push_back({Rules::DEFINITION_TOO_DEEP, {definition.file}, error.text});
        else
            findings.push_back({Rules::DEFINITION_SYNTAX, {definition.file, error.position}, state + " " + error.text});
    }
    return findings;
}

Finding decoderFault(const Definition& definition, const JsonFile& json) {
    const Json::Value& decoder = json.root()[DECODER];
    const bool climbs = decoder.isString() && decoder.asString().find("../") != std::string::npos;
    return {climbs ? Rules::DEFINITION_BAD_DECODER_PATH : Rules::DEFINITION_DECODER_MISSING,
            {definition.file, json.positionOfMember(DECODER)},
            definition.verdict.state};
}

Findings checkProperties(const Definition& definition, const JsonFile& json) {
    const Json::Value& properties = json.root()[SECTION];
    Findings findings;
    for (const std::string& property : properties.getMemberNames()) {
        if (!properties[property].isObject())
            findings.push_back({Rules::DEFINITION_PROPERTY_NOT_AN_OBJECT,
                                {definition.file, json.positionOf(properties[property])},
                                filled(LibraryText::PROPERTY_NOT_FOUND, {definition.name, property})});
    }
    return findings;
}

// The library stops at the first broken rule.
Findings checkMembers(const Definition& definition, const JsonFile& json) {
    Findings findings;
    // The library hands out the document unless it found a decoder fault first.
    if (!definition.verdict.valid && definition.document.isNull())
        findings.push_back(decoderFault(definition, json));
    if (json.root()[SECTION].isObject())
        append(checkProperties(definition, json), &findings);
    else
        findings.push_back({Rules::DEFINITION_NO_PROPERTIES,
                            {definition.file, json.positionOfMember(SECTION)},
                            filled(LibraryText::NO_SECTION, {definition.name, SECTION})});
    return findings;
}

Findings locateFaults(const Definition& definition, const JsonFile& json) {
    if (!json.errors().empty())
        return checkUnreadable(definition, json);
    if (json.root().isObject())
        return checkMembers(definition, json);
    return {
        {Rules::DEFINITION_NOT_AN_OBJECT, {definition.file, json.positionOf(json.root())}, definition.verdict.state}};
}

} // namespace

Findings checkDefinition(const Definition& definition) {
    DefinitionPlaces places(definition.file);
    return checkDefinition(definition, &places);
}

Findings checkDefinition(const Definition& definition, DefinitionPlaces* places) {
    if (isSound(definition))
        return {};
    Findings findings = locateFaults(definition, places->json());
    if (definition.verdict.valid || errorCount(findings) != 0)
        return findings;
    // The file has been corrected since the library read it; its verdict counts.
    return {{Rules::DEFINITION_SYNTAX, {definition.file}, definition.verdict.state}};
}

} // namespace Kelvra::SCADA::Tool
