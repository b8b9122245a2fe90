#pragma once

#include "codec/CallResult.h"

#include <json/value.h>

#include <string>

namespace Kelvra::SCADA::Tool {

/// Reads one line of a runner as JSON. Returns what is wrong with it, or nothing. Names that are no UTF-8 may become
/// the same: `*twice` (unless null) is one that two members of an object have.
std::string parseAnswer(const std::string& line, Json::Value* answer, std::string* twice = nullptr);

/// Reads the answer to a decoder. Returns what is wrong with it, or nothing.
std::string readLoaded(const Json::Value& answer, LoadResult* loaded);

/// Reads the answer to one call. Returns what is wrong with it, or nothing.
std::string readCalled(const Json::Value& answer, CallResult* result);

/// What people read of the limits of the settings that a call can go over: "memory", "output", "depth" or "time".
std::string limitText(const std::string& limit);

} // namespace Kelvra::SCADA::Tool
