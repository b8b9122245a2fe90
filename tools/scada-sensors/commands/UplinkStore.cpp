#include "commands/UplinkStore.h"

#include "database/server_setting.h"

namespace Kelvra::SCADA::Tool {

UplinkStore::UplinkStore(std::string sensorKey, unsigned int waitSeconds)
    : key(std::move(sensorKey)), wait(waitSeconds), database(waitSeconds) {}

std::string UplinkStore::write(const HashFields& fields) {
    database.startAnew();
    const LimitedDatabase::Result result = database.run([sensor = key, fields](Database& server, TypedValue* /*read*/) {
        const int code = server.hmset(sensor, fields);
        return code == DatabaseBase::RESULT_OK ? server.expire(sensor) : code;
    });
    return result.code == DatabaseBase::RESULT_OK ? "" : failureOfWriting(key, HASH_TYPE, TimeLimit(wait));
}

} // namespace Kelvra::SCADA::Tool
