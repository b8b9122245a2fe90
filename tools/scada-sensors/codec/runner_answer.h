#pragma once

#include "codec/CallResult.h"

#include <json/value.h>

#include <string>

namespace Kelvra::SCADA::Tool {

/// Reads one line of a runner as JSON. Returns the fault of the line, or nothing. Names that are not UTF-8 may become
/// equal: `*twice` (unless null) gets one that two members of an object have.
std::string parseAnswer(const std::string& line, Json::Value* answer, std::string* twice = nullptr);

/// Reads the answer to a decoder. Returns the fault of the answer, or nothing.
std::string readLoaded(const Json::Value& answer, LoadResult* loaded);

/// Reads the answer to one call. Returns the fault of the answer, or nothing.
std::string readCalled(const Json::Value& answer, CallResult* result);

/// Returns the text for people about a configured limit that a call can exceed: "memory", "output", "depth" or "time".
std::string limitText(const std::string& limit);

} // namespace Kelvra::SCADA::Tool
