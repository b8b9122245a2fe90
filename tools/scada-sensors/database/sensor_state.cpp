#include "database/sensor_state.h"

#include "text/text.h"

#include <scada/Env.h>

#include <algorithm>
#include <cstddef>
#include <utility>

namespace Kelvra::SCADA::Tool {

namespace {

std::string bytesOf(const redisReply* reply) {
    return reply->str == nullptr ? "" : std::string(reply->str, static_cast<std::size_t>(reply->len));
}

SensorState stateOf(const redisReply& fields, const redisReply& time, Fields wanted) {
    SensorState state;
    if (fields.type != REDIS_REPLY_ARRAY) {
        state.kind = SensorState::Kind::OTHER;
        return state;
    }
    state.kind = fields.elements == 0 ? SensorState::Kind::MISSING : SensorState::Kind::HASH;
    state.fieldCount = fields.elements / 2;
    for (std::size_t at = 0; wanted == Fields::VALUES && at + 1 < fields.elements; at += 2)
        state.fields[bytesOf(fields.element[at])] = bytesOf(fields.element[at + 1]);
    if (time.type == REDIS_REPLY_INTEGER && time.integer >= 0)
        state.millisecondsLeft = time.integer;
    return state;
}

// For a key that is not a hash the server answers with an error; any other error concerns every key.
ServerFault faultOf(const ReplyPtr& reply) {
    const std::string error = errorOf(reply);
    if (error.empty() || startsWith(error, "WRONGTYPE"))
        return {};
    return {error, serverCommand("acl list"), true};
}

void ask(const Inquiry& server, const std::vector<std::string>& keys, std::size_t from, std::size_t count) {
    EncodedCommands commands;
    for (std::size_t at = from; at < std::min(from + count, keys.size()); ++at) {
        commands.add({"HGETALL", keys[at]});
        commands.add({"PTTL", keys[at]});
    }
    if (!commands.empty())
        server.send(commands);
}

ServerFault receiveState(const Inquiry& server, Fields wanted, const TakeState& take) {
    ReplyPtr fields;
    ReplyPtr time;
    for (ReplyPtr* reply : {&fields, &time}) {
        if (ServerFault fault = server.receive(reply); !fault.empty())
            return fault;
        if (ServerFault fault = faultOf(*reply); !fault.empty())
            return fault;
    }
    take(stateOf(*fields, *time, wanted));
    return {};
}

} // namespace

ServerFault readSensors(const Inquiry& server, const std::vector<std::string>& keys, std::vector<SensorState>* states) {
    states->reserve(states->size() + keys.size());
    return readSensors(server, keys, Fields::VALUES,
                       [states](SensorState&& state) { states->push_back(std::move(state)); });
}

ServerFault readSensors(const Inquiry& server, const std::vector<std::string>& keys, Fields wanted,
                        const TakeState& take) {
    // The server works on one batch while the answers to the previous one are read. Without a limit, both sides would
    // wait for ever once neither reads what the other one has written.
    constexpr std::size_t AT_ONCE = 128;
    ask(server, keys, 0, AT_ONCE);
    for (std::size_t from = 0; from < keys.size(); from += AT_ONCE) {
        ask(server, keys, from + AT_ONCE, AT_ONCE);
        const std::size_t end = std::min(from + AT_ONCE, keys.size());
        for (std::size_t at = from; at < end; ++at) {
            if (ServerFault fault = receiveState(server, wanted, take); !fault.empty())
                return fault;
        }
    }
    return {};
}

std::optional<std::int64_t> secondsSinceWrite(const SensorState& state) {
    constexpr std::int64_t MILLISECONDS = 1000;
    const std::int64_t whole = std::int64_t{Env::inst().conf().getDfnDatabaseKeyTtl()} * MILLISECONDS;
    if (!state.millisecondsLeft || *state.millisecondsLeft > whole)
        return std::nullopt;
    return (whole - *state.millisecondsLeft) / MILLISECONDS;
}

} // namespace Kelvra::SCADA::Tool
