#include "AllocationFault.h"

#include <scada/Env.h>

#include <gtest/gtest.h>

#include <new>

namespace {

using Kelvra::SCADA::Env;
using Kelvra::SCADA::Test::AllocationFault;
using Kelvra::SCADA::Test::liveAllocations;

bool instThrows(long nth) {
    const AllocationFault fault(nth);
    try {
        Env::inst();
        return false;
    } catch (const std::bad_alloc&) {
        return true;
    }
}

// The framework runs suites of this name before all others: at this time the record must not have been built yet.
TEST(EnvFirstCallDeathTest, failedConstructionIsTriedAgain) {
    const long before = liveAllocations();
    long nth = 1;
    while (instThrows(nth)) {
        EXPECT_EQ(liveAllocations(), before) << "allocation " << nth;
        ++nth;
    }
    EXPECT_EQ(nth, 6) << "each of the five texts is copied once";
    EXPECT_EQ(Env::inst().conf().getSensorMapFile(), "/var/config/scada/sensors_map.json");
    EXPECT_EQ(Env::inst().conf().getDfnDatabaseSocket(), "/var/run/redis/redis-server.sock");
}

} // namespace
