#include "AllocationFault.h"
#include "NamedRow.h"
#include "StorageBuilder.h"
#include "TempDir.h"
#include "files.h"
#include "json_text.h"
#include "row_name.h"

#include <kelvra/LoggerControl.h>
#include <scada/DefinitionsStorage.h>
#include <scada/Env.h>
#include <scada/SensorMap.h>

#include <gmock/gmock.h>

#include <new>

namespace {

using namespace Kelvra::SCADA;
using namespace Kelvra::SCADA::Test;

const char* const DEFINITION = R"({"title": "A sensor with a title that is longer than a short string",
    "decoder": "a-decoder-with-quite-a-long-name.js", "list": [1, -2, null, true, "text"],
    "properties": {"temperature": {"unit": "C", "description": "longer than a short string can hold"}, "state": 7}})";
const char* const LIST =
    R"([{"id": "0242AC1100000001-with-a-long-tail", "src": "lora", "sensor": "demo/climate-sensor"},
    {"id": "0242ac1100000002-with-a-long-tail", "src": "lora", "sensor": "demo/climate-sensor"}, 7, {"id": "no source"},
    {"id": "0242AC1100000001-with-a-long-tail", "src": "lora", "sensor": "demo/duplicate"},
    {"id": "0242ac1100000003-with-a-long-tail", "src": "lora", "sensor": "demo/climate-sensor"}])";

// The data of one run. The arguments are prepared, so that all allocations are the library's.
struct Subject {
    explicit Subject(const std::string& dir) : storage{dir} {}

    DefinitionsStorage storage;
    SensorDefinitions registry{STORAGE_BOTH};
    SensorMap map;
    DefinitionSpec spec;
    std::string error;
    const std::string good = "lora/demo/climate-sensor";
    const std::string syntaxFault = "lora/demo/syntax-fault-sensor";
    const std::string badDecoder = "lora/demo/bad-decoder-sensor";
    const std::string noDecoder = "lora/demo/no-decoder-sensor";
    const std::string noSection = "lora/demo/no-section-sensor";
    const std::string large = "lora/demo/large-sensor-definition";
    const std::string unknown = "lora/demo/unknown-sensor-model";
    const std::string src = "lora";
    const std::string id = "0242ac1100000001-with-a-long-tail";
    const std::string otherId = "0242ac1100000003-with-a-long-tail";
    const std::string property = "temperature";
    const std::string otherProperty = "state";
};

void expectSpec(Subject& subject) {
    EXPECT_TRUE(subject.storage.getSpec(subject.good, &subject.spec, &subject.error));
    EXPECT_EQ(subject.spec.json, parsed(DEFINITION));
    EXPECT_EQ(subject.spec.decoderPath, subject.storage.dir + "/lora/demo/a-decoder-with-quite-a-long-name.js");
}

void expectRefused(Subject& subject, const std::string& name, const std::string& text) {
    EXPECT_FALSE(subject.storage.getSpec(name, &subject.spec, &subject.error));
    EXPECT_EQ(subject.error, text);
}

void expectProperty(Subject& subject) {
    const Json::Value& property = subject.registry.getMeasurement(subject.good, subject.property, &subject.error);
    EXPECT_EQ(property["unit"].asString(), "C");
    EXPECT_EQ(&property, &subject.registry.getMeasurement(subject.good, subject.property, nullptr));
    EXPECT_TRUE(subject.registry.getDecoderPath(subject.good, nullptr));
}

void expectMap(Subject& subject) {
    EXPECT_TRUE(subject.map.Load());
    for (const std::string& id : {subject.id, subject.otherId}) {
        std::string name;
        EXPECT_TRUE(subject.map.getSensorDefinitionName(subject.src, id, &name));
        EXPECT_EQ(name, subject.good);
        EXPECT_EQ(subject.map.getMeasurement(subject.src, id, subject.property, nullptr)["unit"].asString(), "C");
    }
}

void expectListRefused(Subject& subject) {
    EXPECT_FALSE(subject.map.Load());
    EXPECT_FALSE(subject.map.isSensorPresent(subject.src, subject.id));
}

void loadMap(Subject& subject) {
    ASSERT_TRUE(subject.map.Load());
}

void nothing(Subject&) {}

struct Row : NamedRow {
    void (*prepare)(Subject&);
    void (*act)(Subject&);   ///< the operation, each of whose allocations fails in turn
    void (*check)(Subject&); ///< the check of the state afterwards, whether it failed or not
};

const Row STORAGE_ROWS[] = {
    {"get_spec", nothing, [](Subject& s) { s.storage.getSpec(s.good, &s.spec, &s.error); }, expectSpec},
    {"get_spec_into_a_filled_spec", expectSpec, [](Subject& s) { s.storage.getSpec(s.good, &s.spec, &s.error); },
     expectSpec},
    {"get_spec_large", nothing, [](Subject& s) { s.storage.getSpec(s.large, &s.spec, &s.error); },
     [](Subject& s) { EXPECT_TRUE(s.storage.getSpec(s.large, &s.spec, &s.error)); }},
    {"get_spec_unknown", nothing, [](Subject& s) { s.storage.getSpec(s.unknown, &s.spec, &s.error); },
     [](Subject& s) {
         expectRefused(s, s.unknown, "Sensor definition [lora/demo/unknown-sensor-model] not found.");
         expectSpec(s);
     }},
    {"get_spec_syntax_fault", nothing, [](Subject& s) { s.storage.getSpec(s.syntaxFault, &s.spec, &s.error); },
     [](Subject& s) {
         expectRefused(s, s.syntaxFault, "Invalid syntax of the sensor definition [lora/demo/syntax-fault-sensor].");
     }},
    {"get_spec_bad_decoder", nothing, [](Subject& s) { s.storage.getSpec(s.badDecoder, &s.spec, &s.error); },
     [](Subject& s) {
         expectRefused(s, s.badDecoder,
                       "Invalid sensor definition [lora/demo/bad-decoder-sensor]: bad decoder path [../d].");
     }},
    {"get_spec_no_decoder", nothing, [](Subject& s) { s.storage.getSpec(s.noDecoder, &s.spec, &s.error); },
     [](Subject& s) {
         expectRefused(s, s.noDecoder,
                       "Invalid sensor definition [lora/demo/no-decoder-sensor]: no decoder file found.");
     }},
    {"get_spec_no_section", nothing, [](Subject& s) { s.storage.getSpec(s.noSection, &s.spec, &s.error); },
     [](Subject& s) {
         expectRefused(s, s.noSection,
                       "Invalid syntax of the sensor definition [lora/demo/no-section-sensor]: "
                       "no [properties] section defined.");
         EXPECT_EQ(s.spec.json, parsed("{}"));
     }},
};

const Row REGISTRY_ROWS[] = {
    {"get_measurement_cold", nothing, [](Subject& s) { s.registry.getMeasurement(s.good, s.property, &s.error); },
     expectProperty},
    {"get_measurement_absent", expectProperty,
     [](Subject& s) { s.registry.getMeasurement(s.good, s.otherProperty, &s.error); }, expectProperty},
    {"get_measurement_unknown", nothing, [](Subject& s) { s.registry.getMeasurement(s.unknown, s.property, &s.error); },
     expectProperty},
    {"get_measurement_broken", nothing,
     [](Subject& s) { s.registry.getMeasurement(s.syntaxFault, s.property, &s.error); }, expectProperty},
    {"get_measurement_of_the_map_cold", loadMap,
     [](Subject& s) { s.map.getMeasurement(s.src, s.id, s.property, &s.error); }, expectMap},
    {"get_measurement_of_the_map_cached", expectMap,
     [](Subject& s) { s.map.getMeasurement(s.src, s.id, s.property, &s.error); }, expectMap},
    {"get_measurement_of_the_map_unmanaged", loadMap,
     [](Subject& s) { s.map.getMeasurement(s.src, s.unknown, s.property, &s.error); }, expectMap},
};

const Row LIST_ROWS[] = {
    {"load", nothing, [](Subject& s) { s.map.Load(); }, expectMap},
    {"load_again", expectMap, [](Subject& s) { s.map.Load(); }, expectMap},
    {"load_missing", [](Subject& s) { Env::inst().conf().setSensorMapFile(s.storage.dir + "/there is no such list"); },
     [](Subject& s) { s.map.Load(); }, expectListRefused},
    {"load_syntax_fault",
     [](Subject& s) { Env::inst().conf().setSensorMapFile(s.storage.dir + "/lora/demo/syntax-fault-sensor.json"); },
     [](Subject& s) { s.map.Load(); }, expectListRefused},
    {"load_no_array",
     [](Subject& s) { Env::inst().conf().setSensorMapFile(s.storage.dir + "/lora/demo/no-section-sensor.json"); },
     [](Subject& s) { s.map.Load(); }, expectListRefused},
};

// Returns whether memory has run out. The JSON library has its own exception for its texts.
template <typename Act> bool throwsFor(const Act& act) {
    try {
        act();
        return false;
    } catch (const std::bad_alloc&) {
        return true;
    } catch (const Json::Exception& e) {
        EXPECT_THAT(e.what(), ::testing::HasSubstr("Failed to allocate"));
        return true;
    }
}

class AllocationTest : public ::testing::Test {
protected:
    void SetUp() override {
        Kelvra::Logger::setLevel(Kelvra::Logger::LEVEL_OFF);
        StorageBuilder(dir)
            .definition("lora/demo/climate-sensor", DEFINITION)
            .decoder("lora/demo/climate-sensor", "a-decoder-with-quite-a-long-name.js")
            .definition("lora/demo/syntax-fault-sensor", R"({"properties": {"temperature" 7}})")
            .definition("lora/demo/bad-decoder-sensor", R"({"properties": {}, "decoder": " ../d "})")
            .definition("lora/demo/no-decoder-sensor",
                        R"({"properties": {}, "decoder": "a decoder that is not there"})")
            .definition("lora/demo/no-section-sensor", "{}")
            .definition("lora/demo/large-sensor-definition",
                        R"({"properties": {}, "text": ")" + std::string(100000, 'x') + "\"}");
        writeFile(root / "sensors_map.json", LIST);
    }
    void TearDown() override { Env::inst().conf() = Conf(); }

    TempDir root;
    const std::string dir = root / "default";
};

class Allocation : public AllocationTest, public ::testing::WithParamInterface<Row> {
protected:
    // Returns whether the operation asked for an nth allocation.
    bool run(long nth) {
        Env::inst().conf().setDfnCustomDir(root / "custom");
        Env::inst().conf().setDfnDefaultDir(dir);
        Env::inst().conf().setSensorMapFile(root / "sensors_map.json");
        Subject subject(dir);
        GetParam().prepare(subject);
        bool thrown = false;
        bool hit = false;
        bool inSystem = false;
        {
            const AllocationFault fault(nth);
            thrown = throwsFor([&] { GetParam().act(subject); });
            hit = fault.hit();
            inSystem = fault.inSystem();
        }
        EXPECT_EQ(thrown, hit && !inSystem) << "a failed allocation must come out as an exception";
        GetParam().check(subject);
        return hit;
    }
};
INSTANTIATE_TEST_SUITE_P(Storage, Allocation, ::testing::ValuesIn(STORAGE_ROWS), rowName);
INSTANTIATE_TEST_SUITE_P(Registry, Allocation, ::testing::ValuesIn(REGISTRY_ROWS), rowName);
INSTANTIATE_TEST_SUITE_P(List, Allocation, ::testing::ValuesIn(LIST_ROWS), rowName);

TEST_P(Allocation, eachFailureComesOutLeaksNothingAndDoesNoHarm) {
    const long never = 0;
    run(never); // lets the libraries make the allocations that they keep
    long nth = 0;
    bool hit = true;
    while (hit && !HasFailure()) {
        ++nth;
        SCOPED_TRACE("allocation " + std::to_string(nth));
        const long before = liveAllocations();
        hit = run(nth);
        EXPECT_EQ(liveAllocations(), before);
    }
    EXPECT_GT(nth, 1) << "the operation allocates nothing: there was nothing to test";
}

// The JSON library reads a fraction through a stream, which turns a failed allocation into an unreadable fraction: the
// only failure that is reported as a syntax fault.
TEST_F(AllocationTest, failureWhileAFractionIsReadDoesNoHarm) {
    StorageBuilder(dir).definition("lora/demo/climate-sensor", R"({"properties": {}, "version": 2.5})");
    const std::string name = "lora/demo/climate-sensor";
    DefinitionsStorage storage{dir};
    int syntaxFaults = 0;
    bool hit = true;
    for (long nth = 1; hit; ++nth) {
        const long before = liveAllocations();
        {
            std::string error;
            const AllocationFault fault(nth);
            if (throwsFor([&] { syntaxFaults += storage.getSpec(name, nullptr, &error) ? 0 : 1; })) {
                EXPECT_EQ(error, "");
            }
            hit = fault.hit();
        }
        ASSERT_EQ(liveAllocations(), before);
        ASSERT_TRUE(storage.getSpec(name, nullptr, nullptr));
    }
    EXPECT_EQ(syntaxFaults, 1);
}

} // namespace
