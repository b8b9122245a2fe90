#include "JsonText.h"
#include "inspect.h"

#include <scada/DefinitionsStorage.h>

namespace Kelvra::SCADA::Tool {

namespace {

// A file that is no JSON: the library's verdict together with what the reader says.
Faults inspectUnreadable(const Definition& definition, const JsonText& json) {
    if (!json.isOpened())
        return {{definition.file, definition.state + " " + json.errors()[0].text}};
    Faults faults;
    for (const JsonText::Error& error : json.errors()) {
        const std::string verdict = json.isAbandoned() ? "" : definition.state + " ";
        faults.push_back({definition.file, verdict + error.text, error.position});
    }
    return faults;
}

Position positionOfMember(const JsonText& json, const std::string& member) {
    return json.positionOf(json.root().isMember(member) ? json.root()[member] : json.root());
}

// The library stops at the first rule that is broken; the last two texts below are its own where it does not get to
// them.
Faults inspectRules(const Definition& definition, const std::string& name, const JsonText& json) {
    const std::string section = DefinitionsStorage::JSON_PROPERTIES_SECTION;
    const Json::Value& properties = json.root()[section];
    // The storage hands the document out unless a decoder fault came first.
    const bool decoderFault = !definition.valid && definition.spec.json.isNull();
    Faults faults;
    if (decoderFault)
        faults.push_back(
            {definition.file, definition.state, positionOfMember(json, DefinitionsStorage::JSON_DECODER_SECTION)});
    if (!properties.isObject()) {
        const std::string text =
            "Invalid syntax of the sensor definition [" + name + "]: no [" + section + "] section defined.";
        faults.push_back({definition.file, decoderFault ? text : definition.state, positionOfMember(json, section)});
        return faults;
    }
    const std::string verdict = "Sensor definition [" + name + "] does not contain [";
    for (const std::string& property : properties.getMemberNames()) {
        if (!properties[property].isObject())
            faults.push_back({definition.file, verdict + property + "] property.",
                              json.positionOf(properties[property]), std::nullopt, false});
    }
    return faults;
}

} // namespace

Faults inspectDefinition(const std::string& dir, const std::string& name) {
    const Definition definition = readDefinition(dir, name);
    const JsonText json(definition.file);
    if (!json.errors().empty())
        return inspectUnreadable(definition, json);
    if (!json.root().isObject())
        return {{definition.file, definition.state, json.positionOf(json.root())}};
    return inspectRules(definition, name, json);
}

} // namespace Kelvra::SCADA::Tool
