#include "NamedRow.h"
#include "row_name.h"

#include <scada/Response.h>

#include <gtest/gtest.h>
#include <json/writer.h>

#include <type_traits>

namespace {

using Kelvra::SCADA::Response;
using Kelvra::SCADA::Test::NamedRow;
using Kelvra::SCADA::Test::rowName;

static_assert(std::is_convertible<Response*, Json::Value*>::value, "the envelope is the JSON value");
struct Flagged : Json::Value {
    bool failed;
};
static_assert(sizeof(Response) == sizeof(Flagged), "one flag behind the value");
static_assert(std::is_same<decltype(Response::KEY_STATUS), const std::string>::value);
static_assert(std::is_same<decltype(Kelvra::SCADA::g_StrValue), std::string>::value);

std::string toText(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

struct Row : NamedRow {
    void (*steps)(Response&);
    const char* text;
    bool success;
    const char* result;
};

const char* const NEW_TEXT = R"({"error":"unknown","status":"unknown"})";

const Row ROWS[] = {
    {"fresh", [](Response&) {}, NEW_TEXT, false, "null"},
    {"success", [](Response& r) { r.setSuccess(); }, R"({"status":"success"})", true, "null"},
    {"error", [](Response& r) { r.setError("x"); }, R"({"error":"x","status":"fail"})", false, "null"},
    {"error_with_empty_text", [](Response& r) { r.setError(""); }, R"({"error":"","status":"fail"})", false, "null"},
    {"result_alone", [](Response& r) { r.setResult(5); }, R"({"error":"unknown","result":5,"status":"unknown"})", false,
     "5"},
    {"result_then_success",
     [](Response& r) {
         r.setResult("v");
         r.setSuccess();
     },
     R"({"result":"v","status":"success"})", true, "\"v\""},
    {"success_then_result",
     [](Response& r) {
         r.setSuccess();
         r.setResult(Json::arrayValue);
     },
     R"({"result":[],"status":"success"})", true, "[]"},
    {"result_then_error",
     [](Response& r) {
         r.setResult("v");
         r.setError("x");
     },
     R"({"error":"x","status":"fail"})", false, "null"},
    {"error_then_result",
     [](Response& r) {
         r.setError("x");
         r.setResult(true);
     },
     R"({"error":"x","result":true,"status":"fail"})", false, "true"},
    {"error_then_success",
     [](Response& r) {
         r.setError("x");
         r.setSuccess();
     },
     R"({"status":"success"})", true, "null"},
    {"success_then_error",
     [](Response& r) {
         r.setSuccess();
         r.setError("x");
     },
     R"({"error":"x","status":"fail"})", false, "null"},
    {"last_error_counts",
     [](Response& r) {
         r.setError("first");
         r.setError("second");
     },
     R"({"error":"second","status":"fail"})", false, "null"},
    {"last_result_counts",
     [](Response& r) {
         r.setResult(1);
         r.setResult(2);
         r.setSuccess();
     },
     R"({"result":2,"status":"success"})", true, "2"},
    {"null_result",
     [](Response& r) {
         r.setResult(Json::Value());
         r.setSuccess();
     },
     R"({"result":null,"status":"success"})", true, "null"},
    {"success_twice",
     [](Response& r) {
         r.setSuccess();
         r.setSuccess();
     },
     R"({"status":"success"})", true, "null"},
    {"member_of_the_host_stays",
     [](Response& r) {
         r["id"] = 7;
         r.setError("x");
         r.setSuccess();
     },
     R"({"id":7,"status":"success"})", true, "null"},
};

class ResponseSteps : public ::testing::TestWithParam<Row> {};
INSTANTIATE_TEST_SUITE_P(Rows, ResponseSteps, ::testing::ValuesIn(ROWS), rowName);

TEST_P(ResponseSteps, envelopeStatusAndResult) {
    Response response;
    GetParam().steps(response);
    EXPECT_EQ(toText(response), GetParam().text);
    EXPECT_EQ(response.isSuccess(), GetParam().success);
    EXPECT_EQ(toText(response.getResult()), GetParam().result);
    EXPECT_EQ(toText(response), GetParam().text) << "reading inserts nothing";
}

/// Named by the order of the settings: s for the success, e for the error, r for the result.
struct OrderRow : NamedRow {
    const char* text;
    bool success;
    const char* result;
};

const OrderRow ORDERS[] = {
    {"ser", R"({"error":"x","result":1,"status":"fail"})", false, "1"},
    {"sre", R"({"error":"x","status":"fail"})", false, "null"},
    {"esr", R"({"result":1,"status":"success"})", true, "1"},
    {"ers", R"({"result":1,"status":"success"})", true, "1"},
    {"rse", R"({"error":"x","status":"fail"})", false, "null"},
    {"res", R"({"status":"success"})", true, "null"},
};

class ResponseOrder : public ::testing::TestWithParam<OrderRow> {};
INSTANTIATE_TEST_SUITE_P(Rows, ResponseOrder, ::testing::ValuesIn(ORDERS), rowName);

TEST_P(ResponseOrder, readingAfterAnyStepChangesNothing) {
    for (std::size_t readAfter = 0; readAfter <= 3; ++readAfter) {
        Response response;
        for (std::size_t step = 0; step < 3; ++step) {
            if (step == readAfter)
                response.getResult();
            switch (GetParam().name[step]) {
            case 's':
                response.setSuccess();
                break;
            case 'e':
                response.setError("x");
                break;
            default:
                response.setResult(1);
            }
        }
        EXPECT_EQ(toText(response), GetParam().text) << "read after " << readAfter;
        EXPECT_EQ(response.isSuccess(), GetParam().success);
        EXPECT_EQ(toText(response.getResult()), GetParam().result);
    }
}

TEST(Response, missingResultIsTheSharedNull) {
    const Response response;
    EXPECT_EQ(&response.getResult(), &Json::Value::nullSingleton());
}

TEST(Response, resultIsACopy) {
    Json::Value value;
    value["a"] = 1;
    Response response;
    response.setResult(value);
    value["a"] = 2;
    EXPECT_EQ(response.getResult()["a"], Json::Value(1));
}

TEST(Response, resultMayBeItsOwn) {
    Response response;
    response.setResult("v");
    response.setResult(response.getResult());
    EXPECT_EQ(response.getResult(), Json::Value("v"));
}

TEST(Response, copyKeepsItsOwnStatus) {
    Response response;
    response.setSuccess();
    const Response copy = response;
    response.setError("x");
    EXPECT_TRUE(copy.isSuccess());
    EXPECT_EQ(toText(copy), R"({"status":"success"})");
}

TEST(Response, isCopiedAsAJsonValue) {
    Response response;
    response.setError("x");
    const Json::Value value = response;
    EXPECT_EQ(toText(value), R"({"error":"x","status":"fail"})");
}

TEST(ResponseWords, constants) {
    EXPECT_EQ(Response::KEY_STATUS, "status");
    EXPECT_EQ(Response::KEY_ERROR, "error");
    EXPECT_EQ(Response::KEY_RESULT, "result");
    EXPECT_EQ(Response::VALUE_STATUS_SUCCESS, "success");
    EXPECT_EQ(Response::VALUE_STATUS_FAIL, "fail");
    EXPECT_EQ(Response::VALUE_STATUS_UNKNOWN, "unknown");
}

TEST(ResponseWords, globalTextIsTheHostsAndStartsEmpty) {
    EXPECT_EQ(Kelvra::SCADA::g_StrValue, "");
    Kelvra::SCADA::g_StrValue = "kept";
    Response response;
    response.setError("x");
    response.setSuccess();
    EXPECT_EQ(Kelvra::SCADA::g_StrValue, "kept");
    Kelvra::SCADA::g_StrValue.clear();
}

} // namespace
