#pragma once

namespace Kelvra::SCADA::Tool {

/// The files of schemas/, as the build has read them.
extern const char* const DEFINITION_SCHEMA;

} // namespace Kelvra::SCADA::Tool
