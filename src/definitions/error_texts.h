#pragma once

namespace Kelvra::SCADA::ErrorText {

// Texts that more than one file writes. Each takes the definition name.
constexpr char DEFINITION_NOT_FOUND[] = "Sensor definition [%s] not found.";
constexpr char NO_DECODER_FILE[] = "Invalid sensor definition [%s]: no decoder file found.";

} // namespace Kelvra::SCADA::ErrorText
