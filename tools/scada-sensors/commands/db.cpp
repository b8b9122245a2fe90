#include "answer/Table.h"
#include "answer/printable.h"
#include "commands/Command.h"
#include "commands/whole_number.h"
#include "database/LimitedDatabase.h"
#include "database/server_setting.h"
#include "database/typed_read.h"
#include "text/filled.h"
#include "text/text.h"

#include <scada/Database.h>
#include <scada/Env.h>

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Kelvra::SCADA::Tool {

namespace {

struct Arguments {
    std::string key;
    std::string field;
    bool hasField = false; ///< an empty text is a field too
    std::string value;
    std::string type;
    unsigned int seconds = 0;
    bool hasSeconds = false;
    unsigned int wait = STANDARD_WAIT;
};

using Operation = ExitCode (*)(LimitedDatabase& database, const Arguments& given, const Answer& answer);

ExitCode notRead(int code, const Arguments& given, const Answer& answer) {
    if (code == DatabaseBase::RESULT_NOT_FOUND)
        return answer.failed(ExitCode::NOT_FOUND, filled("There is no field [%s] of [%s].", {given.field, given.key}));
    return answer.failed(ExitCode::FAILED, filled("Key [%s] is not readable as a hash.", {given.key}));
}

// The library has one code for a value of another type and for a key that is not a hash. The text distinguishes them.
ExitCode badValue(LimitedDatabase& limited, const Arguments& given, const Answer& answer) {
    const auto& [code, value] = limited.run(
        [given](Database& database, TypedValue* read) { return database.hget(given.key, given.field, &read->text); });
    if (code != DatabaseBase::RESULT_OK)
        return notRead(code, given, answer);
    return answer.failed(ExitCode::FAILED, filled("Field [%s] of [%s] is not of the type %s: [%s].",
                                                  {given.field, given.key, given.type, value.text}));
}

ExitCode getAll(LimitedDatabase& limited, const Arguments& given, const Answer& answer) {
    const auto& [code, value] =
        limited.run([given](Database& database, TypedValue* read) { return readHash(database, given.key, read); });
    if (code == DatabaseBase::RESULT_NOT_FOUND)
        return answer.failed(ExitCode::NOT_FOUND, filled("The database has no key [%s].", {given.key}));
    if (code != DatabaseBase::RESULT_OK)
        return notRead(code, given, answer);
    Json::Value result;
    result["key"] = given.key;
    result["fields"] = value.json;
    AlignedColumns rows;
    rows.add({"FIELD", "VALUE"});
    for (const std::string& field : value.json.getMemberNames())
        rows.add({field, value.json[field].asString()});
    return answer.done(result, rows.text());
}

ExitCode get(LimitedDatabase& limited, const Arguments& given, const Answer& answer) {
    if (!given.hasField)
        return getAll(limited, given, answer);
    const auto& [code, value] = limited.run([given](Database& database, TypedValue* read) {
        return readAs(given.type, database, given.key, given.field, read);
    });
    if (code == DatabaseBase::RESULT_BAD_VALUE && !given.type.empty())
        return badValue(limited, given, answer);
    if (code != DatabaseBase::RESULT_OK)
        return notRead(code, given, answer);
    Json::Value result;
    result["key"] = given.key;
    result["field"] = given.field;
    result["value"] = value.json;
    return answer.done(result, printable(value.text) + "\n");
}

ExitCode refused(const Arguments& given, const char* type, const Answer& answer) {
    return answer.failed(ExitCode::FAILED, failureOfWriting(given.key, type, TimeLimit(given.wait)));
}

ExitCode written(int code, const Arguments& given, const char* type, const Json::Value& result, const Answer& answer) {
    return code == DatabaseBase::RESULT_OK ? answer.done(result, "") : refused(given, type, answer);
}

ExitCode set(LimitedDatabase& limited, const Arguments& given, const Answer& answer) {
    Json::Value result;
    result["key"] = given.key;
    result["field"] = given.field;
    result["value"] = given.value;
    const LimitedDatabase::Result reply = limited.run([given](Database& database, TypedValue* /*read*/) {
        return database.hset(given.key, given.field, given.value);
    });
    return written(reply.code, given, HASH_TYPE, result, answer);
}

ExitCode expire(LimitedDatabase& limited, const Arguments& given, const Answer& answer) {
    Json::Value result;
    result["key"] = given.key;
    result["seconds"] = given.hasSeconds ? given.seconds : Env::inst().conf().getDfnDatabaseKeyTtl();
    const LimitedDatabase::Result reply = limited.run([given](Database& database, TypedValue* /*read*/) {
        return given.hasSeconds ? database.expire(given.key, given.seconds) : database.expire(given.key);
    });
    return written(reply.code, given, ANY_TYPE, result, answer);
}

ExitCode push(LimitedDatabase& limited, const Arguments& given, const Answer& answer) {
    Json::Value result;
    result["key"] = given.key;
    result["value"] = given.value;
    const LimitedDatabase::Result reply = limited.run(
        [given](Database& database, TypedValue* /*read*/) { return database.lpush(given.key, given.value); });
    return written(reply.code, given, LIST_TYPE, result, answer);
}

ExitCode pop(LimitedDatabase& limited, const Arguments& given, const Answer& answer) {
    limited.allow(given.seconds);
    const auto& [code, value] = limited.run([given](Database& database, TypedValue* read) {
        return database.brpop(given.key, given.seconds, &read->text);
    });
    if (code == DatabaseBase::RESULT_TIMEOUT)
        return answer.failed(ExitCode::FAILED, filled("Nothing came into list [%s] within %s.",
                                                      {given.key, counted(given.seconds, "second")}));
    if (code != DatabaseBase::RESULT_OK)
        return refused(given, LIST_TYPE, answer);
    Json::Value result;
    result["key"] = given.key;
    result["value"] = value.text;
    return answer.done(result, printable(value.text) + "\n");
}

ExitCode operate(Operation operation, const Arguments& given, const Answer& answer) {
    try {
        LimitedDatabase limited(given.wait);
        return operation(limited, given, answer);
    } catch (const NoDatabase& e) {
        // Everything is written. The thread that waits for the server may still use objects that exit() would destroy.
        _exit(static_cast<int>(answer.failed(ExitCode::NO_DATABASE, e.what())));
    }
}

class Operations {
public:
    explicit Operations(CLI::App& parent) : app(parent) {}

    CLI::App& add(const char* name, const char* summary, Operation operation) {
        CLI::App& declared = *app.add_subcommand(name, summary)->group("Operations");
        declared.add_option("KEY", given->key, "Key in the database")->required();
        declared.add_option("--wait", given->wait, "Seconds to wait for the server")
            ->transform(wholeNumber(1U, LONGEST_WAIT))
            ->type_name("S")
            ->capture_default_str();
        table.emplace_back(&declared, operation);
        return declared;
    }

    void declareAccess() {
        CLI::App& getting = add("get", "Print a field of a hash, or all of them", get);
        CLI::Option* field = getting
                                 .add_option_function<std::string>(
                                     "FIELD",
                                     [arguments = given](const std::string& name) {
                                         arguments->field = name;
                                         arguments->hasField = true;
                                     },
                                     "Field of the hash; without it: all")
                                 ->type_name("");
        getting.add_option("--as", given->type, "Type to convert to; without it: text")
            ->needs(field)
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
        popping.add_option("--timeout", given->seconds, "Seconds to wait for a value; 0: no limit")
            ->type_name("S")
            ->capture_default_str();
    }

    Run run() const {
        return [arguments = given, operations = table](const Answer& answer) {
            for (const auto& [declared, operation] : operations) {
                if (declared->parsed())
                    return operate(operation, *arguments, answer);
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
