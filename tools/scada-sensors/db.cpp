#include "Command.h"
#include "DatabaseAccess.h"
#include "Output.h"
#include "text.h"

#include <scada/Database.h>
#include <scada/Env.h>

#include <CLI/CLI.hpp>

#include <array>
#include <charconv>
#include <cmath>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Kelvra::SCADA::Tool {

namespace {

struct Arguments {
    std::string key;
    std::string field;
    std::string value;
    std::string type;
    unsigned int seconds = 0;
    bool hasSeconds = false;
};

struct Value {
    Json::Value json;
    std::string text;
};

using Operation = ExitCode (*)(Database& database, const Arguments& given, Output& output);

// The shortest text that reads back as the same number.
std::string textOf(float number) {
    std::array<char, 32> digits{};
    return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr};
}

int readAs(Database& database, const Arguments& given, Value* value) {
    int result = 0;
    if (given.type == "float") {
        float number = 0;
        result = database.hgetFloat(given.key, given.field, &number);
        value->text = textOf(number);
        // JSON has no numbers for these.
        value->json = std::isfinite(number) ? Json::Value(static_cast<double>(number)) : Json::Value(value->text);
    } else if (given.type == "bool") {
        bool truth = false;
        result = database.hgetBool(given.key, given.field, &truth);
        *value = {truth, truth ? "true" : "false"};
    } else if (given.type == "int32") {
        int number = 0;
        result = database.hgetInt32(given.key, given.field, &number);
        *value = {number, std::to_string(number)};
    } else if (given.type == "uint32") {
        unsigned int number = 0;
        result = database.hgetUint32(given.key, given.field, &number);
        *value = {number, std::to_string(number)};
    } else {
        result = database.hget(given.key, given.field, &value->text);
        value->json = value->text;
    }
    return result;
}

ExitCode notRead(int code, const Arguments& given, Output& output) {
    if (code == DatabaseBase::RESULT_NOT_FOUND)
        return output.failed("There is no field [" + given.field + "] of [" + given.key + "].");
    if (code == DatabaseBase::RESULT_NO_REPLY)
        return output.noDatabase(noReplyText());
    return output.failed("Key [" + given.key + "] is not readable as a hash.");
}

// The library tells a value of another type and a key that holds no hash by the same code: the text makes the
// difference.
ExitCode badValue(Database& database, const Arguments& given, Output& output) {
    std::string text;
    const int code = database.hget(given.key, given.field, &text);
    if (code != DatabaseBase::RESULT_OK)
        return notRead(code, given, output);
    return output.failed("Field [" + given.field + "] of [" + given.key + "] is no " + given.type + ": [" + text +
                         "].");
}

ExitCode get(Database& database, const Arguments& given, Output& output) {
    Value value;
    const int code = readAs(database, given, &value);
    if (code == DatabaseBase::RESULT_BAD_VALUE && !given.type.empty())
        return badValue(database, given, output);
    if (code != DatabaseBase::RESULT_OK)
        return notRead(code, given, output);
    Json::Value result;
    result["key"] = given.key;
    result["field"] = given.field;
    result["value"] = value.json;
    return output.done(result, printable(value.text) + "\n");
}

ExitCode written(int code, const Arguments& given, const Json::Value& result, Output& output) {
    if (code == DatabaseBase::RESULT_OK)
        return output.done(result, "");
    if (code == DatabaseBase::RESULT_NO_REPLY)
        return output.noDatabase(noReplyText());
    return output.failed("The server refused the command for key [" + given.key + "].");
}

ExitCode set(Database& database, const Arguments& given, Output& output) {
    Json::Value result;
    result["key"] = given.key;
    result["field"] = given.field;
    result["value"] = given.value;
    return written(database.hset(given.key, given.field, given.value), given, result, output);
}

ExitCode expire(Database& database, const Arguments& given, Output& output) {
    Json::Value result;
    result["key"] = given.key;
    result["seconds"] = given.hasSeconds ? given.seconds : Env::inst().conf().getDfnDatabaseKeyTtl();
    const int code = given.hasSeconds ? database.expire(given.key, given.seconds) : database.expire(given.key);
    return written(code, given, result, output);
}

ExitCode push(Database& database, const Arguments& given, Output& output) {
    Json::Value result;
    result["key"] = given.key;
    result["value"] = given.value;
    return written(database.lpush(given.key, given.value), given, result, output);
}

ExitCode pop(Database& database, const Arguments& given, Output& output) {
    std::string value;
    const int code = database.brpop(given.key, given.seconds, &value);
    if (code == DatabaseBase::RESULT_TIMEOUT)
        return output.failed("Nothing came into list [" + given.key + "] within " + counted(given.seconds, "second") +
                             ".");
    if (code != DatabaseBase::RESULT_OK)
        return written(code, given, Json::Value(), output);
    Json::Value result;
    result["key"] = given.key;
    result["value"] = value;
    return output.done(result, printable(value) + "\n");
}

class Operations {
public:
    explicit Operations(CLI::App& parent) : app(parent) {}

    CLI::App& add(const char* name, const char* summary, Operation operation) {
        CLI::App& declared = *app.add_subcommand(name, summary)->group("Operations");
        declared.add_option("KEY", given->key, "Key in the database")->required();
        table.emplace_back(&declared, operation);
        return declared;
    }

    void declareAccess() {
        CLI::App& getting = add("get", "Print a field of a hash", get);
        getting.add_option("FIELD", given->field, "Field of the hash")->required();
        getting.add_option("--as", given->type, "Type to convert to; without it: text")
            ->check(CLI::IsMember({"float", "bool", "int32", "uint32"}))
            ->type_name("TYPE");
        CLI::App& setting = add("set", "Write a field of a hash", set);
        setting.add_option("FIELD", given->field, "Field of the hash")->required();
        setting.add_option("VALUE", given->value, "Value to write")->required();
        CLI::App& pushing = add("push", "Put a value in front of a list", push);
        pushing.add_option("VALUE", given->value, "Value to put")->required();
    }

    void declareTimes() {
        CLI::App& expiring = add("expire", "Let a key expire", expire);
        expiring
            .add_option_function<unsigned int>(
                "SECONDS",
                [arguments = given](const unsigned int& seconds) {
                    arguments->seconds = seconds;
                    arguments->hasSeconds = true;
                },
                "Seconds from now on")
            ->type_name("")
            ->default_str(std::to_string(Env::inst().conf().getDfnDatabaseKeyTtl()));
        CLI::App& popping = add("pop", "Take the last value of a list", pop);
        popping.add_option("--timeout", given->seconds, "Seconds to wait for a value; 0: for ever")
            ->type_name("S")
            ->capture_default_str();
    }

    Run run() const {
        return [arguments = given, operations = table](Output& output) {
            Database database;
            useGivenDatabase(database);
            for (const auto& [declared, operation] : operations) {
                if (declared->parsed())
                    return operation(database, *arguments, output);
            }
            return ExitCode::BAD_USAGE;
        };
    }

private:
    CLI::App& app;
    std::shared_ptr<Arguments> given = std::make_shared<Arguments>();
    std::vector<std::pair<const CLI::App*, Operation>> table;
};

} // namespace

Run declareDb(CLI::App& app) {
    app.require_subcommand(1);
    Operations operations(app);
    operations.declareAccess();
    operations.declareTimes();
    return operations.run();
}

} // namespace Kelvra::SCADA::Tool
