#pragma once

namespace Kelvra::SCADA::Test {

/// The value of an out-parameter that must not change.
constexpr const char* UNTOUCHED = "untouched";

/// A definition's name, and the library's texts about that definition.
constexpr const char* NAME = "lora/demo/th1";
constexpr const char* NOT_FOUND = "Sensor definition [lora/demo/th1] not found.";
constexpr const char* INVALID_SYNTAX = "Invalid syntax of the sensor definition [lora/demo/th1].";
constexpr const char* NO_SECTION =
    "Invalid syntax of the sensor definition [lora/demo/th1]: no [properties] section defined.";

} // namespace Kelvra::SCADA::Test
