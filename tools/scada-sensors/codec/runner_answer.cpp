#include "codec/runner_answer.h"

#include "device/CodecSettings.h"
#include "text/filled.h"

#include <json/reader.h>

#include <algorithm>
#include <array>
#include <memory>
#include <sstream>

namespace Kelvra::SCADA::Tool {

namespace {

std::string badMember(const char* member) {
    return filled("its answer has no good member \"%s\"", {member});
}

// Returns a number that counts from 1, or 0 if there is none.
unsigned int countIn(const Json::Value& object, const char* member) {
    return object[member].isUInt() ? object[member].asUInt() : 0;
}

std::string textIn(const Json::Value& object, const char* member) {
    return object[member].isString() ? object[member].asString() : "";
}

bool readException(const Json::Value& from, DecoderException* exception) {
    if (!from.isObject() || !from["text"].isString())
        return false;
    exception->text = from["text"].asString();
    exception->position = {countIn(from, "line"), countIn(from, "column")};
    exception->newer = textIn(from, "newer");
    exception->missing = textIn(from, "missing");
    return true;
}

bool readSpecial(const Json::Value& from, SpecialValue* special) {
    if (!from.isObject() || !from["kind"].isString() || !from["path"].isArray())
        return false;
    special->kind = from["kind"].asString();
    const Json::Value& path = from["path"];
    return std::all_of(path.begin(), path.end(), [special](const Json::Value& step) {
        if (!step.isString() && !step.isUInt())
            return false;
        special->path += (special->path.empty() ? "" : ".") + step.asString();
        return true;
    });
}

bool readValue(const Json::Value& from, CallResult* result) {
    result->kind = CallResult::Kind::VALUE;
    result->value = from["value"];
    if (!from.isMember("special"))
        return true;
    const Json::Value& special = from["special"];
    return special.isArray() && std::all_of(special.begin(), special.end(), [result](const Json::Value& one) {
               return readSpecial(one, &result->special.emplace_back());
           });
}

bool readOne(const Json::Value& from, CallResult* result) {
    if (!from.isObject())
        return false;
    if (from.isMember("value"))
        return readValue(from, result);
    if (from.isMember("exception")) {
        result->kind = CallResult::Kind::EXCEPTION;
        return readException(from["exception"], &result->exception);
    }
    result->kind = CallResult::Kind::LIMIT;
    result->text = limitText(textIn(from, "limit"));
    return !result->text.empty();
}

enum class Names { UNIQUE, ANY };

Json::CharReaderBuilder readerOf(Names names) {
    // The levels of the result, its member of a call, the list and the whole.
    constexpr unsigned int LEVELS_AROUND = 8;
    Json::CharReaderBuilder strict;
    Json::CharReaderBuilder::strictMode(&strict.settings_);
    strict["rejectDupKeys"] = names == Names::UNIQUE;
    strict["stackLimit"] = codecSettings().depth + LEVELS_AROUND;
    return strict;
}

bool parseStrictly(const std::string& line, Names names, Json::Value* answer, std::string* errors) {
    static const Json::CharReaderBuilder unique = readerOf(Names::UNIQUE);
    static const Json::CharReaderBuilder any = readerOf(Names::ANY);
    const std::unique_ptr<Json::CharReader> reader((names == Names::UNIQUE ? unique : any).newCharReader());
    return reader->parse(line.data(), line.data() + line.size(), answer, errors);
}

// Returns the name that the reader rejects.
std::string repeatedName(const std::string& errors) {
    const std::string words = "Duplicate key: '";
    const std::size_t start = errors.find(words);
    if (start == std::string::npos)
        return "";
    const std::size_t name = start + words.size();
    return errors.substr(name, errors.find("'\n", name) - name);
}

bool isEntryPoint(const std::string& name) {
    return name == STANDARD_ENTRY_POINT || name == "Decode" || name == "Decoder";
}

} // namespace

std::string limitText(const std::string& limit) {
    const CodecSettings& settings = codecSettings();
    if (limit == "memory")
        return filled("It needs more memory than %s bytes.", {std::to_string(settings.memory)});
    if (limit == "output")
        return filled("Its result is longer than %s bytes.", {std::to_string(settings.output)});
    if (limit == "depth")
        return filled("Its result has more than %s levels.", {std::to_string(settings.depth)});
    if (limit != "time")
        return "";
    std::ostringstream seconds;
    seconds << settings.seconds;
    return filled("It takes more than %s s of CPU time.", {seconds.str()});
}

std::string parseAnswer(const std::string& line, Json::Value* answer, std::string* twice) {
    try {
        std::string errors;
        if (parseStrictly(line, Names::UNIQUE, answer, &errors))
            return answer->isObject() ? "" : filled("its answer is not a JSON object");
        const std::string name = repeatedName(errors);
        if (parseStrictly(line, Names::ANY, answer, &errors) && answer->isObject()) {
            if (twice != nullptr)
                *twice = name;
            return "";
        }
    } catch (const Json::Exception&) {
        return filled("its answer is nested too deeply");
    }
    return filled("its answer is not a JSON object");
}

std::string readLoaded(const Json::Value& answer, LoadResult* loaded) {
    const Json::Value& entryPoint = answer["entryPoint"];
    if (!answer["version"].isInt() || answer["version"].asInt() != 1)
        return badMember("version");
    if (!answer["loaded"].isBool())
        return badMember("loaded");
    if (!answer["results"].isArray() || !answer["results"].empty())
        return badMember("results");
    loaded->engine = textIn(answer, "engine");
    if (!answer["loaded"].asBool()) {
        loaded->kind = LoadResult::Kind::NOT_LOADED;
        return readException(answer["exception"], &loaded->exception) ? "" : badMember("exception");
    }
    loaded->kind = LoadResult::Kind::LOADED;
    if (entryPoint.isString() && isEntryPoint(entryPoint.asString()))
        loaded->entryPoint = entryPoint.asString();
    return entryPoint.isNull() || !loaded->entryPoint.empty() ? "" : badMember("entryPoint");
}

std::string readCalled(const Json::Value& answer, CallResult* result) {
    const Json::Value& results = answer["results"];
    if (!results.isArray() || results.size() != 1 || !readOne(results[0], result))
        return badMember("results");
    return "";
}

} // namespace Kelvra::SCADA::Tool
