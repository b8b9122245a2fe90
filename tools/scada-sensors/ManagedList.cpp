#include "ManagedList.h"

#include <scada/Env.h>

#include <algorithm>
#include <array>
#include <map>

namespace Kelvra::SCADA::Tool {

namespace {

// A value without fault, put in the place of a faulty one so that the check goes on to the next.
constexpr const char* PLACEHOLDER = "?";

std::array<std::string, 3> memberNames() {
    return {SensorMapEntry::JSON_ATTR_ID, SensorMapEntry::JSON_ATTR_SRC, SensorMapEntry::JSON_ATTR_SENSOR};
}

bool isFaultyMember(const Json::Value& element, const std::string& member) {
    Json::Value probe(Json::objectValue);
    for (const std::string& name : memberNames())
        probe[name] = PLACEHOLDER;
    probe.removeMember(member);
    if (element.isMember(member))
        probe[member] = element[member];
    return !SensorMapEntry().LoadJson(probe, nullptr);
}

bool hasSeparator(const Json::Value& value) {
    return value.isString() && value.asString().find('@') != std::string::npos;
}

// The faulty members in the order in which the library comes to them: separators are looked for last.
std::vector<std::string> faultyMembers(const Json::Value& element) {
    std::vector<std::string> members;
    for (const std::string& name : memberNames()) {
        if (isFaultyMember(element, name))
            members.push_back(name);
    }
    std::stable_partition(members.begin(), members.end(),
                          [&element](const std::string& name) { return !hasSeparator(element[name]); });
    return members;
}

void readElement(ListElement* element) {
    const Json::Value& value = *element->value;
    std::vector<std::string> faulty;
    element->valid = element->entry.LoadJson(value, nullptr);
    if (!element->valid) {
        if (!value.isObject())
            return;
        Json::Value mended = value;
        faulty = faultyMembers(value);
        for (const std::string& member : faulty)
            mended[member] = PLACEHOLDER;
        element->entry.LoadJson(mended, nullptr);
    }
    const auto isSound = [&faulty](const std::string& member) {
        return std::find(faulty.begin(), faulty.end(), member) == faulty.end();
    };
    const bool hasSource = isSound(SensorMapEntry::JSON_ATTR_SRC);
    element->hasKey = hasSource && isSound(SensorMapEntry::JSON_ATTR_ID);
    element->hasDefinition = hasSource && isSound(SensorMapEntry::JSON_ATTR_SENSOR);
}

} // namespace

ManagedList::ManagedList() : path(Env::inst().conf().getSensorMapFile()), json(path) {
    const std::string failure = "Failed to parse the managed sensors list [" + path + "]: ";
    if (!json.isOpened())
        found.push_back({path, "Failed to open the managed sensors list [" + path + "]: " + json.errors()[0].text});
    else if (!json.errors().empty())
        for (const JsonText::Error& error : json.errors())
            found.push_back({path, failure + error.text, error.position});
    else if (!json.root().isArray())
        found.push_back({path, failure + "json is not an array object", json.positionOf(json.root())});
    else
        readElements();
}

void ManagedList::readElements() {
    // A key belongs to the first element that the library takes, else to the first one that has it.
    std::map<std::string, Json::ArrayIndex> owners;
    for (Json::ArrayIndex index = 0; index < json.root().size(); ++index) {
        const Json::Value& value = json.root()[index];
        ListElement element{};
        element.index = index;
        element.position = json.positionOf(value);
        element.value = &value;
        readElement(&element);
        if (element.hasKey) {
            Json::ArrayIndex& owner = owners.emplace(element.sensorKey(), index).first->second;
            if (element.valid && owner != index && !entries[owner].valid)
                owner = index;
        }
        entries.push_back(element);
    }
    for (ListElement& element : entries) {
        if (element.hasKey && owners[element.sensorKey()] != element.index)
            element.repeats = owners[element.sensorKey()];
    }
}

const ListElement* ManagedList::find(const std::string& src, const std::string& id) const {
    const auto element = std::find_if(entries.begin(), entries.end(), [&](const ListElement& one) {
        return one.valid && one.entry.src == src && one.entry.id == id;
    });
    return element == entries.end() ? nullptr : &*element;
}

std::vector<std::string> faultsOfElement(const Json::Value& value) {
    std::vector<std::string> texts;
    std::string text;
    if (!value.isObject()) {
        SensorMapEntry().LoadJson(value, &text);
        return {text};
    }
    Json::Value mended = value;
    for (const std::string& member : faultyMembers(value)) {
        SensorMapEntry().LoadJson(mended, &text);
        texts.push_back(text);
        mended[member] = PLACEHOLDER;
    }
    return texts;
}

} // namespace Kelvra::SCADA::Tool
