#pragma once

#include <scada/DatabaseBase.h>

#include <string>

namespace Kelvra::SCADA::Tool {

/// Points a database object at the server and the database that Env names.
void useConfiguredDatabase(DatabaseBase& database);

/// Returns the message for a database that does not answer.
std::string noReplyText();

} // namespace Kelvra::SCADA::Tool
