#include <scada/Response.h>

namespace Kelvra::SCADA {

const std::string Response::KEY_STATUS = "status";
const std::string Response::KEY_ERROR = "error";
const std::string Response::KEY_RESULT = "result";
const std::string Response::VALUE_STATUS_SUCCESS = "success";
const std::string Response::VALUE_STATUS_FAIL = "fail";
const std::string Response::VALUE_STATUS_UNKNOWN = "unknown";

std::string g_StrValue;

Response::Response() {
    (*this)[KEY_STATUS] = VALUE_STATUS_UNKNOWN;
    (*this)[KEY_ERROR] = VALUE_STATUS_UNKNOWN;
}

void Response::setSuccess() {
    (*this)[KEY_STATUS] = VALUE_STATUS_SUCCESS;
    failed = false;
    removeMember(KEY_ERROR);
}

bool Response::isSuccess() const {
    return !failed;
}

const Json::Value& Response::getResult() const {
    return (*this)[KEY_RESULT];
}

void Response::setError(const std::string& text) {
    (*this)[KEY_STATUS] = VALUE_STATUS_FAIL;
    (*this)[KEY_ERROR] = text;
    removeMember(KEY_RESULT);
    failed = true;
}

void Response::setResult(const Json::Value& value) {
    (*this)[KEY_RESULT] = value;
}

} // namespace Kelvra::SCADA
