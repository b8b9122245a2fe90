#include "FakeSupport.h"

#include <scada/Env.h>

#include <thread>
#include <type_traits>
#include <vector>

namespace {

using Kelvra::SCADA::Conf;
using Kelvra::SCADA::Env;
using Kelvra::SCADA::Test::SupportTest;

static_assert(sizeof(Env) == sizeof(Conf), "one record and nothing else");
static_assert(!std::is_polymorphic<Env>::value);

// Without the fixture: the record as the process starts with it.
TEST(EnvFresh, holdsTheDefaults) {
    const Conf& conf = Env::inst().conf();
    EXPECT_EQ(conf.getDfnDatabaseSocket(), "/var/run/redis/redis-server.sock");
    EXPECT_EQ(conf.getDfnDatabaseNumber(), 2U);
    EXPECT_EQ(conf.getDfnDatabaseKeyTtl(), 129600U);
    EXPECT_EQ(conf.getDfnDefaultDir(), "/etc/scada/sensors");
    EXPECT_EQ(conf.getDfnCustomDir(), "/var/config/scada/sensors");
    EXPECT_EQ(conf.getDfnStagingDir(), "/var/run/scada/sensors/staging");
    EXPECT_EQ(conf.getSensorMapFile(), "/var/config/scada/sensors_map.json");
}

TEST(EnvFresh, firstCallMayComeFromManyThreads) {
    std::vector<Env*> seen(8, nullptr);
    std::vector<std::thread> threads;
    threads.reserve(seen.size());
    for (Env*& slot : seen)
        threads.emplace_back([&slot] { slot = &Env::inst(); });
    for (std::thread& thread : threads)
        thread.join();
    for (const Env* instance : seen)
        EXPECT_EQ(instance, &Env::inst());
}

class EnvTest : public SupportTest {};

TEST_F(EnvTest, constAndMutableConfAreOneObject) {
    Env& env = Env::inst();
    const Env& constEnv = env;
    EXPECT_EQ(&env.conf(), &constEnv.conf());
}

TEST_F(EnvTest, changeIsSeenByEveryLaterCall) {
    const Env& constEnv = Env::inst();
    Env::inst().conf().setDfnCustomDir("");
    Env::inst().conf().setDfnDatabaseKeyTtl(60);
    EXPECT_EQ(constEnv.conf().getDfnCustomDir(), "");
    EXPECT_EQ(Env::inst().conf().getDfnDatabaseKeyTtl(), 60U);
}

TEST_F(EnvTest, constantsAreNotTouchedByAChange) {
    Env::inst().conf().setDfnDefaultDir("/elsewhere");
    EXPECT_EQ(Conf::DFN_STORAGE_DEFAULT_DIR, "/etc/scada/sensors");
    Env::inst().conf().setDfnDefaultDir(Conf::DFN_STORAGE_DEFAULT_DIR);
    EXPECT_EQ(Env::inst().conf().getDfnDefaultDir(), "/etc/scada/sensors");
}

} // namespace
