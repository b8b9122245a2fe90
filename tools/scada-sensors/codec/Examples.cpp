#include "codec/Examples.h"

#include "codec/bytes.h"
#include "codec/time_text.h"
#include "text/filled.h"
#include "text/text.h"

#include <algorithm>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr Json::ArrayIndex MOST_EXAMPLES = 1000;
constexpr unsigned int LAST_PORT = 255;
// In bytes. Every finding contains it, and a decoder can cause very many findings.
constexpr std::size_t LONGEST_DESCRIPTION = 120;

/// Reads one example and notes its first fault.
class Reading {
public:
    explicit Reading(Json::ArrayIndex index) : path{EXAMPLES_SECTION, std::to_string(index)} { example.index = index; }

    bool read(const Json::Value& from) {
        if (!from.isObject())
            return fails(filled("An example must be an object."));
        const Json::Value& description = from["description"];
        if (!description.isNull() && !description.isString())
            return fails(filled("The description must be a text."), {"description"});
        example.description = description.isString() && !description.asString().empty()
                                  ? shortened(description.asString(), LONGEST_DESCRIPTION)
                                  : filled("example %s", {std::to_string(example.index + 1)});
        return readInput(from["input"]) && readExpected(from);
    }

    Example example;
    ExampleFault fault;

private:
    bool fails(const std::string& text, const std::vector<std::string>& below = {}) {
        fault = {path, text};
        fault.path.insert(fault.path.end(), below.begin(), below.end());
        return false;
    }

    bool readInput(const Json::Value& input) {
        if (!input.isObject())
            return fails(filled("An example needs an object \"input\"."), {"input"});
        if (!input["fPort"].isUInt() || input["fPort"].asUInt() > LAST_PORT)
            return fails(filled("The port must be a number from 0 to 255."), {"input", "fPort"});
        example.input.fPort = input["fPort"].asUInt();
        const auto bytes = bytesFromJson(input["bytes"]);
        if (!bytes)
            return fails(filled("The bytes must be a list of numbers from 0 to 255 or a text of hexadecimal digits."),
                         {"input", "bytes"});
        example.input.bytes = *bytes;
        if (input["recvTime"].isNull())
            return true;
        if (input["recvTime"].isString())
            example.input.recvTime = millisecondsFromTime(input["recvTime"].asString());
        return example.input.recvTime
                   ? true
                   : fails(filled("The time must be a text such as 2024-05-01T10:00:00Z."), {"input", "recvTime"});
    }

    bool readExpected(const Json::Value& from) {
        const Json::Value& throws = from["throws"];
        if (!throws.isNull() && !throws.isBool())
            return fails(filled("The member \"throws\" must be true or false."), {"throws"});
        example.throws = throws.isBool() && throws.asBool();
        if (example.throws == from.isMember("output"))
            return fails(filled("An example needs an output, which is an object, or \"throws\": true."), {"output"});
        return example.throws || readOutput(from["output"]);
    }

    bool readOutput(const Json::Value& output) {
        if (!output.isObject() || !(output["data"].isNull() || output["data"].isObject()))
            return fails(filled("The output and its data must be objects."), {"output", "data"});
        if (const std::string wrong = pathFault(output["data"]); !wrong.empty())
            return fails(filled("The output has %s.", {wrong}), {"output", "data"});
        example.output.hasData = output["data"].isObject();
        example.output.data = output["data"];
        for (const char* member : {"warnings", "errors"}) {
            if (!areTexts(output[member]))
                return fails(filled("Warnings and errors must be lists of texts."), {"output", member});
        }
        example.output.warnings = readMessages(output["warnings"]);
        example.output.errors = readMessages(output["errors"]);
        if (!example.output.hasData && example.output.errors.empty())
            return fails(filled("The output needs data or errors."), {"output"});
        return true;
    }

    static bool areTexts(const Json::Value& messages) {
        if (!messages.isArray())
            return messages.isNull() || messages.isString();
        return std::all_of(messages.begin(), messages.end(), [](const Json::Value& one) { return one.isString(); });
    }

    std::vector<std::string> path;
};

} // namespace

Examples readExamples(const Json::Value& definition) {
    Examples examples;
    if (!definition.isObject() || !definition.isMember(EXAMPLES_SECTION))
        return examples;
    const Json::Value& list = definition[EXAMPLES_SECTION];
    if (!list.isArray() || list.size() > MOST_EXAMPLES) {
        examples.faults.push_back(
            {{EXAMPLES_SECTION},
             filled("The examples must be a list of at most %s objects.", {std::to_string(MOST_EXAMPLES)})});
        return examples;
    }
    for (Json::ArrayIndex index = 0; index < list.size(); ++index) {
        Reading reading(index);
        if (reading.read(list[index]))
            examples.sound.push_back(reading.example);
        else
            examples.faults.push_back(reading.fault);
    }
    return examples;
}

} // namespace Kelvra::SCADA::Tool
