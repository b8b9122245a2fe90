#pragma once

#include <scada/DatabaseBase.h>

namespace Kelvra::SCADA::Tool {

/// Points a database object at the server and the database that Env names.
void useConfiguredDatabase(DatabaseBase& database);

} // namespace Kelvra::SCADA::Tool
