#include <scada/Database.h>

#include "database/reply.h"

#include <kelvra/Text.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <optional>

namespace Kelvra::SCADA {

namespace {

// Converts the beginning of `text` as std::stof and std::stoi do, but without their exceptions. errno is kept.
template <typename Number, typename Convert>
std::optional<Number> convertPrefix(const std::string& text, const Convert& convert) {
    const int keptErrno = errno;
    errno = 0;
    char* end = nullptr;
    const Number number = convert(text.c_str(), &end);
    const bool converted = end != text.c_str() && errno != ERANGE;
    errno = keptErrno;
    return converted ? std::optional<Number>(number) : std::nullopt;
}

// A long has 64 bits on some machines; the range is 32 bits on all of them.
bool fitsInt(long number) {
    return number >= INT_MIN && number <= INT_MAX;
}

std::vector<const char*> commandVector(const char* command, const std::string& key) {
    return {command, key.c_str()};
}

} // namespace

Database::Database() = default;

Database::~Database() = default;

int Database::hget(const std::string& key, const std::string& field, std::string* out) {
    const ReplyPtr reply(executeCommand("HGET %s %s", key.c_str(), field.c_str()));
    if (!reply)
        return RESULT_NO_REPLY;
    if (reply->type == REDIS_REPLY_NIL)
        return RESULT_NOT_FOUND;
    if (reply->type != REDIS_REPLY_STRING)
        return RESULT_BAD_VALUE;
    if (out != nullptr)
        out->assign(reply->str);
    return RESULT_OK;
}

int Database::hgetFloat(const std::string& key, const std::string& field, float* out) {
    const int result = hget(key, field, &valueBuffer);
    if (result != RESULT_OK || out == nullptr)
        return result;
    const auto number = convertPrefix<float>(valueBuffer, std::strtof);
    if (!number)
        return RESULT_BAD_VALUE;
    *out = *number;
    return RESULT_OK;
}

int Database::hgetBool(const std::string& key, const std::string& field, bool* out) {
    const int result = hget(key, field, &valueBuffer);
    if (result != RESULT_OK || out == nullptr)
        return result;
    const auto number =
        convertPrefix<long>(valueBuffer, [](const char* text, char** end) { return std::strtol(text, end, 10); });
    if (!number || !fitsInt(*number))
        return RESULT_BAD_VALUE;
    *out = *number != 0;
    return RESULT_OK;
}

int Database::hgetUint32(const std::string& key, const std::string& field, unsigned int* out) {
    const int result = hget(key, field, &valueBuffer);
    if (result != RESULT_OK || out == nullptr)
        return result;
    return Text::parse(*out, valueBuffer) ? RESULT_OK : RESULT_BAD_VALUE;
}

int Database::hgetInt32(const std::string& key, const std::string& field, int* out) {
    const int result = hget(key, field, &valueBuffer);
    if (result != RESULT_OK || out == nullptr)
        return result;
    return Text::parse(*out, valueBuffer) ? RESULT_OK : RESULT_BAD_VALUE;
}

int Database::hset(const std::string& key, const std::string& field, const std::string& value) {
    const ReplyPtr reply(executeCommand("HSET %s %s %s", key.c_str(), field.c_str(), value.c_str()));
    return toResult(reply, isType(reply, REDIS_REPLY_INTEGER));
}

int Database::expire(const std::string& key, unsigned int seconds) {
    const ReplyPtr reply(executeCommand("EXPIRE %s %s", key.c_str(), std::to_string(seconds).c_str()));
    return toResult(reply, isType(reply, REDIS_REPLY_INTEGER));
}

int Database::expire(const std::string& key) {
    return expire(key, keyTtl);
}

int Database::lpush(const std::string& key, const std::string& value) {
    const ReplyPtr reply(executeCommand("LPUSH %s %s", key.c_str(), value.c_str()));
    return toResult(reply, isType(reply, REDIS_REPLY_INTEGER));
}

int Database::brpop(const std::string& key, unsigned int timeout, std::string* out) {
    const ReplyPtr reply(executeCommand("BRPOP %s %s", key.c_str(), std::to_string(timeout).c_str()));
    if (isType(reply, REDIS_REPLY_NIL))
        return RESULT_TIMEOUT;
    const bool isPair = isType(reply, REDIS_REPLY_ARRAY) && reply->elements == 2;
    if (!isPair || out == nullptr)
        return toResult(reply, isPair);
    // A value that is not a string cannot be returned; no server sends one here.
    const char* value = reply->element[1]->str;
    if (value == nullptr)
        return RESULT_UNEXPECTED;
    out->assign(value);
    return RESULT_OK;
}

int Database::hmset(const std::string& key, const std::vector<std::pair<std::string, std::string>>& fields) {
    std::vector<const char*> arguments = commandVector("HMSET", key);
    for (const auto& field : fields) {
        arguments.push_back(field.first.c_str());
        arguments.push_back(field.second.c_str());
    }
    const ReplyPtr reply(executeCommandArgv(static_cast<int>(arguments.size()), arguments.data(), nullptr));
    return toResult(reply, isOkStatus(reply));
}

int Database::hdel(const std::string& key, const std::vector<std::string>& fields) {
    std::vector<const char*> arguments = commandVector("HDEL", key);
    for (const std::string& field : fields)
        arguments.push_back(field.c_str());
    const ReplyPtr reply(executeCommandArgv(static_cast<int>(arguments.size()), arguments.data(), nullptr));
    return toResult(reply, isType(reply, REDIS_REPLY_INTEGER));
}

} // namespace Kelvra::SCADA
