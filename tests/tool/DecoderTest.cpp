#include "DecoderTest.h"

#include <algorithm>

namespace Kelvra::SCADA::Test {

const char* const SOUND_DECODER = R"(function decodeUplink(input) {
    var bytes = input.bytes;
    if (bytes.length !== 2)
        return { errors: ["expected 2 bytes"] };
    return { data: { t: bytes[0] / 10, b: bytes[1] }, warnings: bytes[1] < 10 ? "battery is low" : [] };
}
)";

const char* const SOUND_PROPERTIES =
    R"({"t": {"name": "Temperature", "unit": "°C", "type": "float"}, "b": {"type": "uint32", "max": 100}})";

DecoderTest::DecoderTest() : duktape(duktapeRunnerIn(temp)) {
    writeList({});
}

void DecoderTest::addDecoder(const std::string& name, const std::string& script, const std::string& properties,
                             const std::string& examples) {
    const std::string definition = "lora/demo/" + name;
    standard.definition(definition, R"({"decoder": ")" + name + ".js\",\n\"properties\": " + properties +
                                        ",\n\"examples\": " + examples + "}\n");
    standard.decoder(definition, name + ".js", script);
}

ToolRun DecoderTest::runWith(std::vector<std::string> arguments) const {
    if (std::find(arguments.begin(), arguments.end(), "--codec-runner") == arguments.end())
        arguments.insert(arguments.end(), {"--codec-runner", duktape});
    return run(arguments);
}

ToolRun DecoderTest::feed(const std::string& input, std::vector<std::string> arguments) const {
    const std::vector<std::string> options = {
        "--default-dir",    temp / "default", "--custom-dir", temp / "custom", "--map",
        temp / "list.json", "--codec-runner", duktape,        "--log-level",   "off"};
    arguments.insert(arguments.begin(), options.begin(), options.end());
    ToolRun result = runTool(arguments, input);
    result.out = replaced(result.out, temp.path(), "$T");
    result.err = replaced(result.err, temp.path(), "$T");
    return result;
}

} // namespace Kelvra::SCADA::Test
