#include "database/typed_read.h"

#include "database/ReplyPtr.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>

namespace Kelvra::SCADA::Tool {

namespace {

// Returns the shortest text that reads back as the same number.
std::string textOf(float number) {
    std::array<char, 32> digits{};
    return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr};
}

std::string textOf(const redisReply& reply) {
    return reply.str == nullptr ? "" : std::string(reply.str, static_cast<std::size_t>(reply.len));
}

} // namespace

int readAs(const std::string& type, Database& database, const std::string& key, const std::string& field,
           TypedValue* value) {
    int result = 0;
    if (type == "float") {
        float number = 0;
        result = database.hgetFloat(key, field, &number);
        value->text = textOf(number);
        // JSON has no infinity and no NaN.
        value->json = std::isfinite(number) ? Json::Value(static_cast<double>(number)) : Json::Value(value->text);
    } else if (type == "bool") {
        bool truth = false;
        result = database.hgetBool(key, field, &truth);
        *value = {truth, truth ? "true" : "false"};
    } else if (type == "int32") {
        int number = 0;
        result = database.hgetInt32(key, field, &number);
        *value = {number, std::to_string(number)};
    } else if (type == "uint32") {
        unsigned int number = 0;
        result = database.hgetUint32(key, field, &number);
        *value = {number, std::to_string(number)};
    } else {
        result = database.hget(key, field, &value->text);
        value->json = value->text;
    }
    return result;
}

// The library reads one field at a time, and its texts end at their first NUL byte. These texts do not.
int readHash(Database& database, const std::string& key, TypedValue* value) {
    std::array<const char*, 2> words{"HGETALL", key.c_str()};
    const ReplyPtr reply(database.executeCommandArgv(static_cast<int>(words.size()), words.data(), nullptr));
    if (!reply)
        return DatabaseBase::RESULT_NO_REPLY;
    if (reply->type != REDIS_REPLY_ARRAY)
        return DatabaseBase::RESULT_BAD_VALUE;
    if (reply->elements == 0)
        return DatabaseBase::RESULT_NOT_FOUND;
    Json::Value fields(Json::objectValue);
    for (std::size_t at = 0; at + 1 < reply->elements; at += 2)
        fields[textOf(*reply->element[at])] = textOf(*reply->element[at + 1]);
    value->json = fields;
    return DatabaseBase::RESULT_OK;
}

} // namespace Kelvra::SCADA::Tool
