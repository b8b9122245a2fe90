#pragma once

#include <scada/DatabaseBase.h>
#include <scada/export.h>

#include <string>
#include <utility>
#include <vector>

namespace Kelvra {
namespace SCADA {

/// Typed access to Redis hashes, lists and key expiry.
/// Every operation returns a DatabaseBase::Result: RESULT_NO_REPLY if there is no connection, RESULT_UNEXPECTED for a
/// reply that no other code describes. Every out-parameter may be null and is left untouched on failure; the integer
/// reads are an exception and say so. Strings are sent up to their first NUL byte. If the server executed a command but
/// its reply was lost, the command is executed a second time. Serves one thread at a time.
class SCADA_EXPORT Database : public DatabaseBase {
public:
    /// Does not connect yet.
    Database();
    /// Leaves the connection open, like DatabaseBase.
    ~Database() override;

    /// Reads a hash field. Returns RESULT_NOT_FOUND if it does not exist, RESULT_BAD_VALUE if the reply is not a
    /// string.
    int hget(const std::string& key, const std::string& field, std::string* out);

    /// Reads a hash field as a float, as strtof does: text after the number is ignored; overflow and underflow fail.
    /// The decimal point is that of the process's locale (LC_NUMERIC): where it is a comma, "2.5" is read as 2. Returns
    /// RESULT_BAD_VALUE if the field is not a float.
    int hgetFloat(const std::string& key, const std::string& field, float* out);
    /// Reads a hash field as a 32-bit decimal number: 0 is false, every other number is true. Text after the number is
    /// ignored. Returns RESULT_BAD_VALUE if the field is not such a number.
    int hgetBool(const std::string& key, const std::string& field, bool* out);
    /// Reads a hash field as an unsigned 32-bit number, parsed by the support library. Returns RESULT_BAD_VALUE if the
    /// field is not such a number; `*out` then holds whatever the support library left there.
    int hgetUint32(const std::string& key, const std::string& field, unsigned int* out);
    /// Reads a hash field as a signed 32-bit number, in the same way as hgetUint32.
    int hgetInt32(const std::string& key, const std::string& field, int* out);

    /// Writes a hash field.
    int hset(const std::string& key, const std::string& field, const std::string& value);
    /// Makes the key expire after `seconds`. Returns RESULT_OK even if the key does not exist.
    int expire(const std::string& key, unsigned int seconds);
    /// Makes the key expire after the object's default: the value given to setup(), or Conf::DFN_DATABASE_KEY_TTL
    /// seconds.
    int expire(const std::string& key);

    /// Inserts a value at the head of a list.
    int lpush(const std::string& key, const std::string& value);
    /// Removes the last value of a list and puts it into `*out`. Waits up to `timeout` seconds for a value; 0 waits
    /// forever. Returns RESULT_TIMEOUT if none arrived.
    int brpop(const std::string& key, unsigned int timeout, std::string* out);

    /// Writes several fields of a hash, given as pairs of field and value. Without any pair the server refuses the
    /// command: RESULT_UNEXPECTED.
    int hmset(const std::string& key, const std::vector<std::pair<std::string, std::string>>& fields);
    /// Removes several fields of a hash. Returns RESULT_OK however many of them existed. Without any field:
    /// RESULT_UNEXPECTED.
    int hdel(const std::string& key, const std::vector<std::string>& fields);
};

} // namespace SCADA
} // namespace Kelvra
