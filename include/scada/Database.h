#pragma once

#include <scada/DatabaseBase.h>
#include <scada/export.h>

#include <string>
#include <utility>
#include <vector>

namespace Kelvra {
namespace SCADA {

/// Typed access to Redis hashes, lists and key expiry. Every operation returns a DatabaseBase::Result: RESULT_NO_REPLY
/// without a connection, RESULT_UNEXPECTED on a reply that fits nothing else. Out-parameters may be null and are left
/// untouched on failure, but for what the integer reads say. Texts are sent up to their first NUL byte.
/// A command that the server executed but whose reply was lost is executed again. Serves one thread at a time.
class SCADA_EXPORT Database : public DatabaseBase {
public:
    /// Makes no connection yet.
    Database();
    /// Leaves the connection open, as DatabaseBase does.
    ~Database() override;

    /// Reads a hash field. Returns RESULT_NOT_FOUND when there is none, RESULT_BAD_VALUE when the reply is no string.
    int hget(const std::string& key, const std::string& field, std::string* out);

    /// Reads a hash field as a float, as strtof does: text after the number is ignored, overflow and underflow fail.
    /// The decimal point is that of the process's locale (LC_NUMERIC): with a comma there, "2.5" is 2. Returns
    /// RESULT_BAD_VALUE when it is none.
    int hgetFloat(const std::string& key, const std::string& field, float* out);
    /// Reads a hash field as a decimal number of 32 bits, of which 0 is false and all others are true; text after the
    /// number is ignored. Returns RESULT_BAD_VALUE when it is none.
    int hgetBool(const std::string& key, const std::string& field, bool* out);
    /// Reads a hash field as an unsigned number of 32 bits, as the support library parses it. Returns RESULT_BAD_VALUE
    /// when it is none; `*out` is then whatever the support library left.
    int hgetUint32(const std::string& key, const std::string& field, unsigned int* out);
    /// Reads a hash field as a signed number of 32 bits, as hgetUint32 does.
    int hgetInt32(const std::string& key, const std::string& field, int* out);

    /// Writes a hash field.
    int hset(const std::string& key, const std::string& field, const std::string& value);
    /// Lets the key expire in so many seconds; RESULT_OK also when there is no such key.
    int expire(const std::string& key, unsigned int seconds);
    /// Lets the key expire in the object's default expiry: what setup() set, else Conf::DFN_DATABASE_KEY_TTL seconds.
    int expire(const std::string& key);

    /// Puts a value in front of a list.
    int lpush(const std::string& key, const std::string& value);
    /// Takes the last value of a list, waiting up to `timeout` seconds for one, 0 being for ever. Returns
    /// RESULT_TIMEOUT when none came.
    int brpop(const std::string& key, unsigned int timeout, std::string* out);

    /// Writes several fields of a hash, pairs of field and value. Without a pair the server refuses: RESULT_UNEXPECTED.
    int hmset(const std::string& key, const std::vector<std::pair<std::string, std::string>>& fields);
    /// Removes several fields of a hash; RESULT_OK however many there were. Without a field: RESULT_UNEXPECTED.
    int hdel(const std::string& key, const std::vector<std::string>& fields);
};

} // namespace SCADA
} // namespace Kelvra
