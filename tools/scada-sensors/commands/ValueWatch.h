#pragma once

#include "answer/Answer.h"
#include "codec/stored_values.h"
#include "commands/watching.h"
#include "database/sensor_state.h"

#include <json/value.h>

#include <atomic>
#include <map>
#include <optional>
#include <string>

namespace Kelvra::SCADA::Tool {

struct WatchedSensor {
    std::string key;
    std::string definition;
    Json::Value properties;
    std::string property; ///< the only property that is wanted; empty: all
};

/// Says the values of a sensor and then each change of them. A notification does not contain the value, and none is
/// kept while the connection is lost. Therefore the key is read after each one, and only values that differ from those
/// last said are said.
class ValueWatch {
public:
    ValueWatch(const WatchedSensor& watchedSensor, unsigned int waitSeconds, const Answer& wantedAnswer)
        : sensor(watchedSensor), wait(waitSeconds), answer(wantedAnswer) {}

    /// Returns a listener that refers to this object.
    WatchListener listener();

private:
    bool changed(const KeyChange& change);
    WatchState fetch(bool anew);
    bool fetched();
    void turned(WatchState now);
    ExitCode ended(WatchState last) const;

    bool isKnown(const SensorState& state) const;
    void sayKey(const SensorState& state);
    void sayValues(const SensorState& state);
    void sayValue(const StoredValue& stored);
    void sayGone(const char* word, const std::string& text);
    void write(const char* change, Json::Value result, const std::string& text);

    const WatchedSensor& sensor;
    unsigned int wait;
    const Answer& answer;

    bool isOutdated = true;
    std::string removal; ///< the event that removed the key since it was last said
    std::optional<SensorState> fresh;
    ServerFault refusal; ///< the last one

    std::optional<SensorState::Kind> saidKind;
    std::map<std::string, StoredValue> said;
    bool isInitial = true;

    std::atomic<bool> isFound{true};
    std::atomic<bool> hasState{false};
    WatchTally tally;
};

} // namespace Kelvra::SCADA::Tool
