#include "database/access.h"

#include "text/filled.h"

#include <scada/Env.h>

namespace Kelvra::SCADA::Tool {

void useConfiguredDatabase(DatabaseBase& database) {
    const Conf& conf = Env::inst().conf();
    database.setup(conf.getDfnDatabaseSocket(), conf.getDfnDatabaseNumber(), conf.getDfnDatabaseKeyTtl());
}

std::string noReplyText() {
    const Conf& conf = Env::inst().conf();
    return filled("No reply from database %s at [%s]. Is the server running, and does it have database %s?",
                  {std::to_string(conf.getDfnDatabaseNumber()), conf.getDfnDatabaseSocket(),
                   std::to_string(conf.getDfnDatabaseNumber())});
}

} // namespace Kelvra::SCADA::Tool
