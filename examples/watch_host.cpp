// A host program of one page: watches the key of a sensor, whose values others change, for so many changes.

#include <scada/DatabaseSubscriber.h>
#include <scada/Env.h>

#include <hiredis/hiredis.h>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

namespace {

enum ExitCode { EXIT_DONE = 0, EXIT_FAILED = 1, EXIT_BAD_USAGE = 2 };

struct Watch {
    Kelvra::SCADA::DatabaseSubscriber subscriber;
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

void watchKey(const std::string& socket, const std::string& key, long changes) {
    Watch watch{{}, key, changes};
    // Env holds what the host was configured with; database objects have to be told.
    watch.subscriber.setup(socket, Kelvra::SCADA::Env::inst().conf().getDfnDatabaseNumber());
    watch.subscriber.loop(onChange, &watch);
}

} // namespace

int main(int argc, char* argv[]) {
    const long changes = argc != 5 ? 0 : std::strtol(argv[4], nullptr, 10);
    if (changes < 1) {
        std::cerr << "usage: watch-host SOCKET SRC ID CHANGES\n";
        return EXIT_BAD_USAGE;
    }
    try {
        watchKey(argv[1], std::string(argv[2]) + "@" + argv[3], changes);
        return EXIT_DONE;
    } catch (const std::exception& exception) {
        std::cerr << exception.what() << '\n';
        return EXIT_FAILED;
    }
}
