#include "database/access.h"

#include <scada/Env.h>

namespace Kelvra::SCADA::Tool {

void useConfiguredDatabase(DatabaseBase& database) {
    const Conf& conf = Env::inst().conf();
    database.setup(conf.getDfnDatabaseSocket(), conf.getDfnDatabaseNumber(), conf.getDfnDatabaseKeyTtl());
}

} // namespace Kelvra::SCADA::Tool
