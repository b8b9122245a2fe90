#include "device/ManagedList.h"

#include "text/Descriptor.h"

#include <kelvra/Text.h>
#include <scada/Env.h>

#include <json/reader.h>

#include <algorithm>
#include <array>
#include <memory>
#include <stdexcept>
#include <unordered_map>
#include <utility>

namespace Kelvra::SCADA::Tool {

namespace {

// A value without fault that replaces a faulty one, so that the check goes on to the next.
constexpr const char* SUBSTITUTE = "?";

std::array<std::string, 3> memberNames() {
    return {SensorMapEntry::JSON_ATTR_ID, SensorMapEntry::JSON_ATTR_SRC, SensorMapEntry::JSON_ATTR_SENSOR};
}

bool isFaultyMember(const Json::Value& element, const std::string& member) {
    Json::Value probe(Json::objectValue);
    for (const std::string& name : memberNames())
        probe[name] = SUBSTITUTE;
    probe.removeMember(member);
    if (element.isMember(member))
        probe[member] = element[member];
    return !SensorMapEntry().LoadJson(probe, nullptr);
}

bool hasSeparator(const Json::Value& value) {
    return value.isString() && value.asString().find('@') != std::string::npos;
}

// Returns the faulty members in the order in which the library checks them: separators come last.
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

std::string writtenText(const Json::Value& element, const std::string& member) {
    return element.isObject() && element[member].isString() ? element[member].asString() : "";
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
            mended[member] = SUBSTITUTE;
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

ManagedList::ManagedList()
    : ManagedList(Env::inst().conf().getSensorMapFile(), Env::inst().conf().getSensorMapFile()) {}

ManagedList::ManagedList(const std::string& file, std::string name) : path(std::move(name)) {
    const std::string failure = readRegularFile(file, &text);
    if (failure.empty()) {
        if (const auto plain = readPlainList(text)) {
            readPlainElements(*plain);
            findRepeats();
            return;
        }
    }
    content.emplace(failure, text);
    text = std::string();
    if (!isUsable())
        return;
    readElements();
    findRepeats();
}

void ManagedList::readPlainElements(const std::vector<PlainElement>& elements) {
    entries.reserve(elements.size());
    for (const PlainElement& plain : elements) {
        ListElement& element = entries.emplace_back();
        element.index = static_cast<Json::ArrayIndex>(entries.size() - 1);
        element.value = nullptr;
        element.start = plain.start;
        element.end = plain.end;
        element.entry.id = Text::toLowerCase(std::string(plain.id));
        element.entry.src = plain.src;
        element.entry.sensor = plain.sensor;
        element.valid = true;
        element.hasKey = true;
        element.hasDefinition = true;
    }
}

void ManagedList::readElements() {
    entries.reserve(content->root().size());
    for (const Json::Value& value : content->root()) {
        ListElement& element = entries.emplace_back();
        element.index = static_cast<Json::ArrayIndex>(entries.size() - 1);
        element.value = &value;
        element.start = 0;
        element.end = 0;
        readElement(&element);
    }
}

void ManagedList::findRepeats() {
    // A key belongs to the first element that the library takes, or else to the first one that has it.
    std::unordered_map<std::string, Json::ArrayIndex> owners;
    owners.reserve(entries.size());
    for (ListElement& element : entries) {
        if (!element.hasKey)
            continue;
        Json::ArrayIndex& owner = owners.emplace(element.sensorKey(), element.index).first->second;
        if (owner == element.index)
            continue;
        if (element.valid && !entries[owner].valid) {
            entries[owner].repeats = element.index;
            owner = element.index;
        } else {
            element.repeats = owner;
        }
    }
    for (ListElement& element : entries) {
        if (element.repeats)
            element.repeats = owners.at(element.sensorKey());
    }
}

Position ManagedList::positionOf(const ListElement& element) const {
    if (element.value != nullptr)
        return content->positionOf(*element.value);
    if (!starts)
        starts.emplace(text);
    return starts->positionAt(element.start);
}

Json::Value ManagedList::valueOf(const ListElement& element) const {
    if (element.value != nullptr)
        return *element.value;
    Json::Value value;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    if (!reader->parse(text.data() + element.start, text.data() + element.end, &value, nullptr))
        throw std::logic_error("a plain element is not JSON");
    return value;
}

std::vector<const ListElement*> ManagedList::findIdentifier(const std::string& id) const {
    std::vector<const ListElement*> found;
    for (const ListElement& element : entries) {
        if (element.valid ? element.entry.id == id : element.identifier() == id)
            found.push_back(&element);
    }
    return found;
}

std::string ListElement::identifier() const {
    return valid ? entry.id : normalisedIdentifier(writtenText(*value, SensorMapEntry::JSON_ATTR_ID));
}

std::string ListElement::source() const {
    return valid ? entry.src : normalisedSource(writtenText(*value, SensorMapEntry::JSON_ATTR_SRC));
}

SensorsByDefinition ManagedList::sensorsByDefinition() const {
    SensorsByDefinition sensors;
    for (const ListElement& element : entries) {
        if (element.isInForce())
            sensors[element.definitionName()].push_back(element.sensorKey());
    }
    return sensors;
}

std::vector<ElementFault> faultsOf(const Json::Value& element) {
    std::vector<ElementFault> faults;
    std::string text;
    if (!element.isObject()) {
        SensorMapEntry().LoadJson(element, &text);
        return {{"", text}};
    }
    Json::Value mended = element;
    for (const std::string& member : faultyMembers(element)) {
        SensorMapEntry().LoadJson(mended, &text);
        faults.push_back({member, text});
        mended[member] = SUBSTITUTE;
    }
    return faults;
}

std::string normalisedSource(const std::string& src) {
    return Text::trim(src);
}

std::string normalisedIdentifier(const std::string& id) {
    return Text::toLowerCase(Text::trim(id));
}

} // namespace Kelvra::SCADA::Tool
