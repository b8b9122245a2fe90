#pragma once

#include <scada/export.h>

#include <json/value.h>

#include <string>

namespace Kelvra {
namespace SCADA {

/// The JSON envelope of a host program's answers to its own clients: a status word, an error text on failure, a result
/// on success. It is a Json::Value, so it is written and copied as one; a copy as Json::Value loses only the success
/// flag. The library itself does not use it. Serves one thread at a time.
class SCADA_EXPORT Response : public Json::Value {
public:
    static const std::string KEY_STATUS;           ///< "status"
    static const std::string KEY_ERROR;            ///< "error"
    static const std::string KEY_RESULT;           ///< "result"
    static const std::string VALUE_STATUS_SUCCESS; ///< "success"
    static const std::string VALUE_STATUS_FAIL;    ///< "fail"
    static const std::string VALUE_STATUS_UNKNOWN; ///< "unknown"

    /// A new envelope is not a success: its status and its error are both "unknown".
    Response();

    /// Sets the status to "success" and removes the error. A result that is already set stays.
    void setSuccess();
    /// Returns whether the most recent call of setSuccess or setError was setSuccess.
    bool isSuccess() const;

    /// Returns the result, or the shared null value if there is none. Inserts nothing. Valid until the envelope is
    /// changed or destroyed.
    const Json::Value& getResult() const;
    /// Sets the status to "fail" and the error to `text`, and removes the result.
    void setError(const std::string& text);
    /// Sets the result to a copy of `value`. The status does not change.
    void setResult(const Json::Value& value);

private:
    bool failed = true;
};

/// Kept for host programs. It starts empty; the library neither reads nor writes it.
SCADA_EXPORT extern std::string g_StrValue;

} // namespace SCADA
} // namespace Kelvra
