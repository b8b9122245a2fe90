#include "AllocationFault.h"
#include "TempDir.h"

#include <kelvra/LoggerControl.h>
#include <scada/Database.h>

#include <hiredis/hiredis.h>

#include <sys/resource.h>

#include <gtest/gtest.h>

namespace {

using namespace Kelvra::SCADA;
using namespace Kelvra::SCADA::Test;

class OpenedDatabase : public Database {
public:
    using Database::context;
};

const timeval* connectTimeout(const redisContext* context) {
#if HIREDIS_MAJOR >= 1
    return context->connect_timeout;
#else
    return context->timeout;
#endif
}

// Without a descriptor and without the nth allocation. Returns whether there was such an allocation.
bool connectWithout(long nth, OpenedDatabase* db) {
    rlimit usual{};
    getrlimit(RLIMIT_NOFILE, &usual);
    const rlimit none{0, usual.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    const AllocationFault fault(nth);
    EXPECT_EQ(db->ensureConnected(), 3);
    setrlimit(RLIMIT_NOFILE, &usual);
    return fault.hit();
}

// The client library reconnects by the address: half of one would be worse than none.
TEST(DatabaseAllocation, failedFirstConnectionHasAWholeAddressOrNone) {
    Kelvra::Logger::setLevel(Kelvra::Logger::LEVEL_OFF);
    const TempDir dir;
    int incomplete = 0;
    for (long nth = 1;; ++nth) {
        OpenedDatabase db;
        db.setup(dir / "a-socket-whose-path-is-longer-than-a-short-string", 2);
        if (!connectWithout(nth, &db))
            break;
        if (db.context == nullptr)
            continue;
        const bool hasAddress = db.context->connection_type == REDIS_CONN_UNIX;
        incomplete += hasAddress ? 0 : 1;
        EXPECT_EQ(hasAddress, db.context->unix_sock.path != nullptr) << "without allocation " << nth;
        EXPECT_TRUE(!hasAddress || connectTimeout(db.context) != nullptr) << "without allocation " << nth;
        EXPECT_EQ(db.ensureConnected(), 3);
        EXPECT_NE(db.context->err, 0);
    }
    EXPECT_GE(incomplete, 2) << "without the path and without the time limit";
}

} // namespace
