// The bytes are a runner's answers, line by line: first to a decoder, then to its calls. However hostile they are, the
// tool reads, judges and compares them, and its results stay small. The first answer may also be the definition, with
// its own properties and examples.

#include "Workspace.h"

#include "check/Finding.h"
#include "codec/DecodedUplink.h"
#include "codec/Examples.h"
#include "codec/codec_rules.h"
#include "codec/differences.h"
#include "codec/runner_answer.h"
#include "codec/value_rules.h"

#include <scada/SensorDefinitions.h>

#include <sstream>
#include <string>

namespace {

using namespace Kelvra::SCADA;
using Fuzz::require;

const char DEFINITION[] = R"({"properties": {
    "t": {"type": "float", "min": -40, "max": 85}, "n": {"type": "int32"}, "u": {"type": "uint32", "max": 7},
    "b": {"type": "bool"}, "s": {"type": "string"}, "list": {}, "a.b": {"type": "float"}, "a.0": {"type": "?"}},
  "examples": [
    {"input": {"fPort": 1, "bytes": [1, 2]}, "output": {"data": {"t": 1.5, "n": 2, "a": {"b": [], "0": 0}}}},
    {"input": {"fPort": 2, "bytes": "0102"}, "output": {"errors": ["e"], "warnings": "w"}},
    {"input": {"fPort": 3, "bytes": []}, "throws": true}]})";

struct Definition {
    explicit Definition(const Json::Value& document)
        : properties(document[SensorDefinitions::JSON_PROPERTIES_SECTION]), examples(Tool::readExamples(document)) {
        for (const Tool::Example& example : examples.sound)
            require(example.throws || example.output.hasData || !example.output.errors.empty(),
                    "a sound example expects something");
    }

    const Json::Value properties;
    const Tool::Examples examples;
};

Json::Value usualDocument() {
    std::string text = DEFINITION;
    Json::Value document;
    require(Tool::parseAnswer(text, &document).empty(), "the usual definition is JSON");
    return document;
}

void judgeValues(const Tool::DecodedUplink& uplink, const Definition& definition) {
    require(uplink.hasData || uplink.special.empty(), "special values are part of the data");
    const std::vector<Tool::NamedValue> values = Tool::namedValues(uplink, definition.properties);
    for (const Tool::NamedValue& value : values)
        require(value.path.size() <= Tool::LONGEST_PATH, "no path is longer than is admitted");
    require(Tool::misfits(values, definition.properties).size() <= values.size(), "one misfit of a value at most");
    for (const Tool::Example& example : definition.examples.sound)
        (void)Tool::differences(example.output, uplink);
    require(Tool::differences(uplink, uplink).empty(), "a result is like itself");
}

void judgeResult(const std::string& entryPoint, const Tool::CallResult& result, const Definition& definition) {
    switch (result.kind) {
    case Tool::CallResult::Kind::VALUE: {
        const Tool::DecodedUplink uplink = Tool::readResult(entryPoint, result);
        require(uplink.fault.empty() || !uplink.hasData, "a result with a fault has no data");
        if (uplink.fault.empty())
            judgeValues(uplink, definition);
        return;
    }
    case Tool::CallResult::Kind::EXCEPTION:
        require(!Tool::callFault(result, "decoder.js").text.empty(), "an exception has a text");
        return;
    case Tool::CallResult::Kind::LIMIT:
        require(!result.text.empty(), "a limit has a text");
        return;
    case Tool::CallResult::Kind::FAULT:
        require(false, "an answer that was read is not a fault of the runner");
    }
}

void judgeCall(const std::string& line, const std::string& entryPoint, const Definition& definition) {
    Json::Value answer;
    Tool::CallResult result;
    if (Tool::parseAnswer(line, &answer).empty() && Tool::readCalled(answer, &result).empty())
        judgeResult(entryPoint, result, definition);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Definition usual(usualDocument());
    std::istringstream lines(std::string(reinterpret_cast<const char*>(data), size));
    std::string line;
    std::getline(lines, line);
    Json::Value answer;
    Tool::LoadResult loaded;
    if (!Tool::parseAnswer(line, &answer).empty())
        return 0;
    const bool read = Tool::readLoaded(answer, &loaded).empty();
    if (read && Tool::loadingFault(loaded, "th1.js"))
        return 0;
    // In the tool a bad first answer ends the run; here its calls are judged as well.
    const bool isDefinition = answer.isMember(SensorDefinitions::JSON_PROPERTIES_SECTION);
    const Definition own(isDefinition ? answer : Json::Value(Json::objectValue));
    while (std::getline(lines, line))
        judgeCall(line, read ? loaded.entryPoint : "Decode", isDefinition ? own : usual);
    return 0;
}
