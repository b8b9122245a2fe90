#include "DatabaseAccess.h"

#include <scada/Env.h>

namespace Kelvra::SCADA::Tool {

void useGivenDatabase(DatabaseBase& database) {
    const Conf& conf = Env::inst().conf();
    database.setup(conf.getDfnDatabaseSocket(), conf.getDfnDatabaseNumber(), conf.getDfnDatabaseKeyTtl());
}

std::string noReplyText() {
    const Conf& conf = Env::inst().conf();
    return "No reply from database " + std::to_string(conf.getDfnDatabaseNumber()) + " at [" +
           conf.getDfnDatabaseSocket() + "]; is a server with that many databases listening there?";
}

} // namespace Kelvra::SCADA::Tool
