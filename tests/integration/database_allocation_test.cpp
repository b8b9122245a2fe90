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

class DatabaseAllocation : public ::testing::Test {
protected:
    void SetUp() override {
        Kelvra::Logger::setLevel(Kelvra::Logger::LEVEL_OFF);
        getrlimit(RLIMIT_NOFILE, &usual);
    }

    // Makes a first connection that fails, without the nth allocation, and another one. Returns whether there was such
    // an allocation.
    bool attempt(long nth, rlim_t descriptors) {
        OpenedDatabase db;
        db.setup(socket, 2);
        const rlimit fewer{descriptors, usual.rlim_max};
        setrlimit(RLIMIT_NOFILE, &fewer);
        bool hit = false;
        {
            const AllocationFault fault(nth);
            EXPECT_EQ(db.ensureConnected(), 3);
            hit = fault.hit();
        }
        setrlimit(RLIMIT_NOFILE, &usual);
        if (db.context != nullptr)
            expectAddress(&db, nth);
        return hit;
    }

    int incomplete = 0;
    rlimit usual{};

private:
    // The client library reconnects by the address: half of one would be worse than none.
    void expectAddress(OpenedDatabase* db, long nth) {
        const bool hasAddress = db->context->connection_type == REDIS_CONN_UNIX;
        incomplete += hasAddress ? 0 : 1;
        EXPECT_EQ(hasAddress, db->context->unix_sock.path != nullptr) << "without allocation " << nth;
        EXPECT_TRUE(!hasAddress || connectTimeout(db->context) != nullptr) << "without allocation " << nth;
        EXPECT_EQ(db->ensureConnected(), 3);
        EXPECT_NE(db->context->err, 0);
        redisFree(db->context);
    }

    TempDir dir;
    const std::string socket = dir / "a-socket-whose-path-is-longer-than-a-short-string";
};

TEST_F(DatabaseAllocation, firstConnectionWithoutDescriptorHasAWholeAddressOrNone) {
    attempt(0, 0);
    const long before = liveAllocations();
    long nth = 1;
    while (attempt(nth, 0)) {
        EXPECT_EQ(liveAllocations(), before) << "without allocation " << nth;
        ++nth;
    }
    EXPECT_GE(incomplete, 2) << "without the path and without the time limit";
}

TEST_F(DatabaseAllocation, addressOfTheClientLibraryIsKept) {
    attempt(0, usual.rlim_cur);
    const long before = liveAllocations();
    attempt(0, usual.rlim_cur);
    EXPECT_EQ(liveAllocations(), before);
    EXPECT_EQ(incomplete, 0);
}

} // namespace
