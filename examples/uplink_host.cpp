// A host program of one page: stores the values of a sensor's uplink where the SCADA service reads them, and then
// watches that key, which others may change too.

#include <scada/Database.h>
#include <scada/DatabaseSubscriber.h>
#include <scada/Env.h>
#include <scada/SensorMap.h>

#include <hiredis/hiredis.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

namespace {

using Kelvra::SCADA::Conf;
using Kelvra::SCADA::Database;
using Kelvra::SCADA::DatabaseSubscriber;

enum ExitCode { EXIT_DONE = 0, EXIT_FAILED = 1, EXIT_BAD_USAGE = 2 };

constexpr unsigned int LIFETIME_S = 3600;

using Fields = std::vector<std::pair<std::string, std::string>>;

// Splits PROPERTY=VALUE and takes only properties that the sensor's definition describes.
bool readFields(const std::string& src, const std::string& id, char** first, char** last, Fields* fields) {
    Kelvra::SCADA::SensorMap map;
    if (!map.Load())
        return false;
    for (; first != last; ++first) {
        const std::string given = *first;
        const std::string property = given.substr(0, given.find('='));
        std::string error;
        if (map.getMeasurement(src, id, property, &error).isNull()) {
            std::cerr << error << '\n';
            return false;
        }
        fields->emplace_back(property, given.substr(std::min(property.size() + 1, given.size())));
    }
    return true;
}

bool store(const std::string& key, const Fields& fields) {
    // Env holds what the host was configured with; database objects have to be told.
    const Conf& conf = Kelvra::SCADA::Env::inst().conf();
    Database database;
    database.setup(conf.getDfnDatabaseSocket(), conf.getDfnDatabaseNumber(), LIFETIME_S);
    const bool stored =
        database.hmset(key, fields) == Database::RESULT_OK && database.expire(key) == Database::RESULT_OK;
    std::cout << (stored ? "stored " : "cannot store ") << key << std::endl;
    return stored;
}

struct Watch {
    DatabaseSubscriber subscriber;
    std::string key;
    long left;
};

// The channel of a message is "__keyspace@N__:" and the key. The message is the loop's: nothing of it is kept.
void onChange(redisReply* message, void* user) {
    Watch& watch = *static_cast<Watch*>(user);
    if (message->type != REDIS_REPLY_ARRAY || message->elements != 4)
        return;
    const std::string channel = message->element[2]->str;
    if (channel.substr(channel.find(':') + 1) != watch.key)
        return;
    std::cout << watch.key << ": " << message->element[3]->str << std::endl;
    if (--watch.left == 0)
        watch.subscriber.stop();
}

void watchKey(const std::string& key, long changes) {
    const Conf& conf = Kelvra::SCADA::Env::inst().conf();
    Watch watch{{}, key, changes};
    watch.subscriber.setup(conf.getDfnDatabaseSocket(), conf.getDfnDatabaseNumber());
    watch.subscriber.loop(onChange, &watch);
}

} // namespace

int main(int argc, char* argv[]) {
    const long changes = argc < 9 ? 0 : std::strtol(argv[7], nullptr, 10);
    if (changes < 1) {
        std::cerr << "usage: uplink-host SOCKET DEFAULT_DIR CUSTOM_DIR MAP_FILE SRC ID CHANGES PROPERTY=VALUE...\n";
        return EXIT_BAD_USAGE;
    }
    try {
        Conf& conf = Kelvra::SCADA::Env::inst().conf();
        conf.setDfnDatabaseSocket(argv[1]);
        conf.setDfnDefaultDir(argv[2]);
        conf.setDfnCustomDir(argv[3]);
        conf.setSensorMapFile(argv[4]);
        const std::string key = std::string(argv[5]) + "@" + argv[6];
        Fields fields;
        if (!readFields(argv[5], argv[6], argv + 8, argv + argc, &fields) || !store(key, fields))
            return EXIT_FAILED;
        watchKey(key, changes);
        return EXIT_DONE;
    } catch (const std::exception& exception) {
        std::cerr << exception.what() << '\n';
        return EXIT_FAILED;
    }
}
