#pragma once

namespace Kelvra::SCADA::Tool::LibraryText {

// The library stops at the first fault that it finds, so the tool reports the others itself, in the library's words.
// These are the library's texts; "%s" stands for its values, in the library's order. Tests provoke each text through
// the library and compare it as a whole.

// Definitions
constexpr const char* DEFINITION_NOT_FOUND = "Sensor definition [%s] not found.";
constexpr const char* NO_SECTION = "Invalid syntax of the sensor definition [%s]: no [%s] section defined.";
constexpr const char* NO_DECODER_FILE = "Invalid sensor definition [%s]: no decoder file found.";
constexpr const char* PROPERTY_NOT_FOUND = "Sensor definition [%s] does not contain [%s] property.";

// Installation
constexpr const char* SOURCE_MISSING = "No definition files provided.";
constexpr const char* SOURCE_NOT_A_DIRECTORY = "Source directory is not provided.";
constexpr const char* LORAWAN_ONLY = "Only LoRaWAN sensors are currently supported.";
constexpr const char* DECODER_NOT_DEFINED = "LoRaWAN decoder is not defined for [%s] sensor definition.";
constexpr const char* DECODER_OUTSIDE_SOURCE = "Invalid sensor definition [%s]: bad decoder file location.";
constexpr const char* ALREADY_INSTALLED =
    "Sensor definition [%s] is already installed. Please remove the custom sensor definition, or enable \"Allow "
    "Overwrite\" to replace it.";
constexpr const char* DIRECTORY_NOT_MADE = "Failed to create a directory while importing [%s] definition.";
constexpr const char* FILE_NOT_SAVED = "File saving error while importing [%s] definition.";
constexpr const char* FILE_NOT_COPIED = "File copying error while importing [%s] definition.";
constexpr const char* DECODER_NOT_COPIED = "File copying error while importing decoder for the [%s] definition.";

// The managed-sensors list
constexpr const char* LIST_NOT_OPENED = "Failed to open the managed sensors list [%s]";
constexpr const char* LIST_NOT_PARSED = "Failed to parse the managed sensors list [%s]: %s";
constexpr const char* LIST_NOT_AN_ARRAY = "json is not an array object";
constexpr const char* DUPLICATE_KEY = "duplicate key id=[%s] src=[%s]. Skipping.";
constexpr const char* SENSOR_NOT_MANAGED = "Sensor [%s@%s] is not defined in the Managed Sensors list.";

} // namespace Kelvra::SCADA::Tool::LibraryText
