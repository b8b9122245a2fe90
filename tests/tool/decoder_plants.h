#pragma once

#include "PreflightTest.h"

#include <string>
#include <vector>

namespace Kelvra::SCADA::Test {

/// Writes a program "runner" that answers a decoder with `loaded` and each call with `result`, or with nothing else if
/// `result` is empty. Other users may start it.
void writeRunner(const std::string& dir, const std::string& loaded, const std::string& result);

/// Writes a shell script as "runner".
void writeRunnerScript(const std::string& dir, const std::string& script);

constexpr const char* LOADED_DECODER =
    R"({"version": 1, "engine": "fake 1", "loaded": true, "entryPoint": "decodeUplink", "results": []})";

/// Returns faults of the decoder and the examples of lora/demo/th1, in a storage or a source, that refuse its
/// installation.
std::vector<Plant> faultyDecoders(const std::string& storage);
/// Returns conditions of them that cause only a note.
std::vector<Plant> notedDecoders(const std::string& storage);

} // namespace Kelvra::SCADA::Test
