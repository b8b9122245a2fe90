#pragma once

#include "ToolTest.h"

#include <string>
#include <vector>

namespace Kelvra::SCADA::Test {

/// A device with decoders, run by the duktape runner or by a program that the test has written as "$T/runner".
class DecoderTest : public ToolTest {
protected:
    DecoderTest();

    /// Adds a definition lora/demo/NAME with its decoder and its members "properties" and "examples".
    void addDecoder(const std::string& name, const std::string& script, const std::string& properties,
                    const std::string& examples = "[]");

    /// Runs the tool with the duktape runner, unless the arguments name another one.
    ToolRun runWith(std::vector<std::string> arguments) const;
    /// Like the above, with a text on standard input.
    ToolRun feed(const std::string& input, std::vector<std::string> arguments) const;

    std::string duktape; ///< the command that runs it
};

/// A decoder of two bytes: a temperature in tenths of a degree, then a battery level. It refuses other lengths.
extern const char* const SOUND_DECODER;
extern const char* const SOUND_PROPERTIES;

} // namespace Kelvra::SCADA::Test
