#include "commands/ValueWatch.h"

#include "answer/printable.h"
#include "commands/sensor_values.h"
#include "text/filled.h"
#include "text/library_texts.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <string_view>
#include <utility>
#include <vector>

namespace Kelvra::SCADA::Tool {

namespace {

bool removesKey(const std::string& event) {
    constexpr std::array<std::string_view, 5> EVENTS{"del", "evicted", "expired", "move_from", "rename_from"};
    return std::find(EVENTS.begin(), EVENTS.end(), event) != EVENTS.end();
}

const char* connectionWord(WatchState now) {
    switch (now) {
    case WatchState::WATCHING:
        return "back";
    case WatchState::REFUSED:
        return "refused";
    case WatchState::DENIED:
        return "unreadable";
    case WatchState::MUTED:
        return "muted";
    case WatchState::STARTING:
    case WatchState::LOST:
        break;
    }
    return "lost";
}

bool isSame(const StoredValue& left, const StoredValue& right) {
    return left.text == right.text && left.state == right.state;
}

} // namespace

WatchListener ValueWatch::listener() {
    WatchListener listener;
    listener.changed = [this](const KeyChange& change) { return changed(change); };
    listener.turned = [this](WatchState now) { turned(now); };
    listener.ended = [this](WatchState last) { return ended(last); };
    listener.fetch = [this](bool anew) { return fetch(anew); };
    listener.fetched = [this] { return fetched(); };
    return listener;
}

bool ValueWatch::changed(const KeyChange& change) {
    if (change.key != sensor.key)
        return true;
    isOutdated = true;
    if (removesKey(change.event))
        removal = change.event;
    return true;
}

WatchState ValueWatch::fetch(bool anew) {
    isOutdated = isOutdated || anew;
    if (!isOutdated)
        return WatchState::WATCHING;
    const Inquiry server{TimeLimit(wait)};
    std::vector<SensorState> states;
    ServerFault fault = server.open();
    if (fault.empty())
        fault = readSensors(server, {sensor.key}, &states);
    if (fault.refused) {
        refusal = fault;
        return WatchState::DENIED;
    }
    if (!fault.empty())
        return WatchState::LOST;
    fresh = states.front();
    isOutdated = false;
    return WatchState::WATCHING;
}

bool ValueWatch::fetched() {
    if (!fresh)
        return true;
    const SensorState state = *std::exchange(fresh, std::nullopt);
    if (isInitial)
        isFound = isKnown(state);
    if (!isFound)
        return false;
    sayKey(state);
    if (state.kind == SensorState::Kind::HASH)
        sayValues(state);
    isInitial = false;
    hasState = true;
    return tally.written;
}

void ValueWatch::turned(WatchState now) {
    if (now == WatchState::DENIED)
        answer.note(filled("[%s] cannot be read; asking again: %s (%s)", {sensor.key, refusal.text, refusal.command}));
    else
        tellState(now, answer);
    if (!answer.isJson())
        return;
    Json::Value result(Json::objectValue);
    result["state"] = connectionWord(now);
    if (now == WatchState::DENIED)
        result["reason"] = refusal.text;
    write("connection", result, "");
}

ExitCode ValueWatch::ended(WatchState last) const {
    if (!isFound)
        return answer.failed(ExitCode::NOT_FOUND,
                             filled(LibraryText::PROPERTY_NOT_FOUND, {sensor.definition, sensor.property}));
    const bool isUnread = last == WatchState::STARTING && !hasState;
    return endOfWatch(isUnread ? WatchState::LOST : last, tally, answer);
}

bool ValueWatch::isKnown(const SensorState& state) const {
    return sensor.property.empty() || sensor.properties[sensor.property].isObject() ||
           state.fields.count(sensor.property) != 0;
}

// Says that the key has gone, or that it is not a hash. When a key comes back, all its values are said.
void ValueWatch::sayKey(const SensorState& state) {
    const std::string event = std::exchange(removal, "");
    if (saidKind == SensorState::Kind::HASH && !event.empty()) {
        if (event == "expired")
            sayGone("expired", filled("the key has expired"));
        else
            sayGone("removed", filled("the key was removed (%s)", {event}));
        saidKind = SensorState::Kind::MISSING;
    }
    if (saidKind != state.kind && state.kind == SensorState::Kind::MISSING)
        sayGone("missing", filled("there is no such key"));
    if (saidKind != state.kind && state.kind == SensorState::Kind::OTHER)
        sayGone("no-hash", filled("the key is not a hash"));
    saidKind = state.kind;
}

void ValueWatch::sayGone(const char* word, const std::string& text) {
    said.clear();
    Json::Value result(Json::objectValue);
    result["state"] = word;
    write("key", result, "  " + printable(sensor.key) + "  " + text);
}

void ValueWatch::sayValues(const SensorState& state) {
    std::map<std::string, StoredValue> now;
    for (const StoredValue& stored : storedValues(state.fields, sensor.properties)) {
        if (sensor.property.empty() || stored.property == sensor.property)
            now[stored.property] = stored;
    }
    // A field without a property leaves nothing behind.
    for (const auto& [property, stored] : said)
        now.insert({property, {property, StoredValue::State::MISSING, "", Json::Value(), "", nullptr}});
    for (const auto& [property, stored] : now) {
        const auto before = said.find(property);
        if (before == said.end() || !isSame(before->second, stored))
            sayValue(stored);
    }
    said = std::move(now);
}

void ValueWatch::sayValue(const StoredValue& stored) {
    std::string text;
    for (const std::string& cell : cellsOf(stored, sensor.properties))
        text += "  " + printable(cell);
    write("value", toJson(stored, sensor.properties), text);
}

void ValueWatch::write(const char* change, Json::Value result, const std::string& text) {
    if (!tally.written)
        return;
    result["time"] = utcText(std::chrono::system_clock::now());
    result["sensor"] = sensor.key;
    result["change"] = change;
    tally.written = answer.item(result, result["time"].asString() + text + "\n");
    if (!isInitial && !text.empty())
        ++tally.count;
}

} // namespace Kelvra::SCADA::Tool
