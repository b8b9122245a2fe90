#include "FaultTest.h"

#include "StorageBuilder.h"
#include "device/HiddenDefaults.h"
#include "exit_status_of.h"
#include "files.h"

#include <scada/DefinitionsStorage.h>

#include <json/writer.h>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <sstream>
#include <stdexcept>

namespace Kelvra::SCADA::Test {

namespace fs = std::filesystem;

namespace {

constexpr const char* MARK = ".new-generation";

std::string replaced(std::string text, const std::string& part, const std::string& by) {
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + by.size()))
        text.replace(at, part.size(), by);
    return text;
}

void shell(const std::string& line) {
    if (std::system(line.c_str()) != 0)
        throw std::runtime_error("cannot run " + line);
}

// Keeps hard links.
void layFrom(const std::string& source, const std::string& target) {
    shell("rm -rf " + target + "/* && cp -a " + source + "/. " + target);
}

std::string modeOf(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0)
        throw std::runtime_error("cannot look at " + path);
    char text[16];
    (void)std::snprintf(text, sizeof text, "%o ", status.st_mode);
    return text;
}

// Runs in the child.
[[noreturn]] void become(std::vector<std::string> words, const Variables& variables, const std::string& outputs) {
    setpgid(0, 0);
    // The tool would remove remains of other tests' killed runs there, in steps that differ from run to run.
    setenv("TMPDIR", outputs.c_str(), 1);
    for (const auto& [name, value] : variables)
        setenv(name.c_str(), value.c_str(), 1);
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    const int in = open("/dev/null", O_RDONLY);
    const int out = open((outputs + "/out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, S_IRUSR | S_IWUSR);
    const int err = open((outputs + "/err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, S_IRUSR | S_IWUSR);
    if (dup2(in, STDIN_FILENO) >= 0 && dup2(out, STDOUT_FILENO) >= 0 && dup2(err, STDERR_FILENO) >= 0)
        execv(pointers[0], pointers.data());
    _exit(127);
}

} // namespace

long chosen(const Extent& extent) {
    const char* const wish = std::getenv("SCADA_LONG_FAULTS");
    if (wish != nullptr && std::string(wish) == "1")
        return extent.all;
#ifdef SCADA_SLOW_TOOL
    return extent.slow;
#else
    return extent.usual;
#endif
}

// --- what is there

State stateOf(const std::string& directory) {
    State state;
    if (!fs::exists(directory))
        return state;
    state[""] = modeOf(directory);
    for (const auto& [path, content] : snapshot(directory)) {
        if (path != MARK)
            state[path] = modeOf(directory + "/" + path) + content;
    }
    return state;
}

Definitions readDefinitions(const std::string& directory) {
    std::set<std::string> names;
    DefinitionsStorage{directory}.findNames(&names);
    Definitions found;
    for (const std::string& name : names) {
        DefinitionSpec spec;
        std::string error;
        if (!DefinitionsStorage{directory}.getSpec(name, &spec, &error)) {
            found[name] = {error, ""};
            continue;
        }
        found[name].document = Json::writeString(Json::StreamWriterBuilder(), spec.json);
        try {
            found[name].decoder = readFile(spec.decoderPath);
        } catch (const std::runtime_error& failure) {
            found[name].decoder = failure.what();
        }
    }
    return found;
}

// --- operations

const std::vector<Operation>& operations() {
    static const std::vector<Operation> rows{
        {"first_installation", false, {}, {"install", "$T/source"}},
        {"overwriting_installation", true, {}, {"install", "$T/source", "--allow-overwrite"}},
        {"removal", true, {}, {"remove", "lora/demo/old"}},
        {"removal_of_all", true, {}, {"remove", "--all", "--yes"}},
        {"rollback", true, {"install", "$T/source", "--allow-overwrite"}, {"rollback"}},
    };
    return rows;
}

const Operation& operationNamed(const std::string& name) {
    for (const Operation& row : operations()) {
        if (row.name == name)
            return row;
    }
    throw std::runtime_error("no operation " + name);
}

std::vector<Case> everyCase() {
    std::vector<Case> cases;
    for (const Operation& row : operations()) {
        cases.push_back({row, Way::EXCHANGE});
        cases.push_back({row, Way::IN_PLACE});
    }
    return cases;
}

std::string nameOf(const Case& row) {
    return row.operation.name + std::string(row.way == Way::EXCHANGE ? "_by_exchange" : "_in_place");
}

std::string caseName(const ::testing::TestParamInfo<Case>& info) {
    return nameOf(info.param);
}

void PrintTo(const Case& row, std::ostream* out) {
    *out << nameOf(row);
}

// --- runs

Variables faultAt(const std::string& fault, long number) {
    return {{"SCADA_TEST_FAULT", fault}, {"SCADA_TEST_FAULT_AT", std::to_string(number)}};
}

Variables operator+(Variables some, const Variables& others) {
    some.insert(others.begin(), others.end());
    return some;
}

int RunningTool::running = 0;

RunningTool::RunningTool(const std::vector<std::string>& arguments, const Variables& variables, std::string outputs)
    : directory(std::move(outputs)) {
    const std::vector<std::string> words = toolCommand(arguments);
    child = fork();
    if (child == 0)
        become(words, variables, directory);
    if (child < 0)
        throw std::runtime_error("cannot run " + words.front());
    ++running;
}

RunningTool::~RunningTool() {
    --running;
    if (!hasEnded()) {
        send(SIGKILL);
        collect(0);
    }
}

void RunningTool::send(int signal) const {
    kill(child, signal);
}

void RunningTool::sendToGroup(int signal) const {
    kill(-child, signal);
}

std::string RunningTool::output() const {
    return readFile(directory + "/out");
}

bool RunningTool::collect(int options) {
    int state = 0;
    if (status >= 0)
        return true;
    if (waitpid(child, &state, options) != child)
        return false;
    status = exitStatusOf(state);
    return true;
}

bool RunningTool::hasEnded() {
    return collect(WNOHANG);
}

// Orphans become children of this process. If there are other runs, an orphan's origin is unknown.
ToolRun RunningTool::wait() {
    collect(0);
    while (running == 1 && waitpid(-1, nullptr, 0) > 0) {
    }
    return {status, readFile(directory + "/out"), readFile(directory + "/err")};
}

// --- the storages

Subreaper::Subreaper() {
    prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0);
}

Subreaper::~Subreaper() {
    prctl(PR_SET_CHILD_SUBREAPER, 0, 0, 0, 0);
}

FaultTest::FaultTest() {
    addDefinition(temp / "source", "lora/demo/new", "New", "// decodes New\n");
    addDefinition(temp / "source", "lora/demo/old", "Newer", "// decodes Newer\n");
    addDefinition(temp / "later", "lora/later/z", "Later", "// decodes Later\n");
}

void FaultTest::layStorage() const {
    for (const char* name : {"lora/demo/kept", "lora/demo/old", "lora/other/x"})
        addDefinition(place + "/custom", name, name);
    writeFile(place + "/custom/.hidden/notes", "notes\n");
    chmod((place + "/custom/lora/demo/kept.js").c_str(), 0640);
    chmod((place + "/custom").c_str(), 0750);
}

void FaultTest::prepare(const Operation& wanted, Way wantedWay) {
    operation = wanted;
    way = wantedWay;
    shell("rm -rf " + place + "/*");
    addDefinition(place + "/default", "lora/demo/old", "Default", "// decodes Default\n");
    if (operation.hasStorage)
        layStorage();
    if (!operation.before.empty()) {
        const ToolRun before = run(operation.before);
        ASSERT_EQ(before.status, 0) << before.out << before.err;
    }
    makeDir(temp / "prototype");
    layFrom(place, temp / "prototype");
    old = stateOfCustom();
    oldDefinitions = readDefinitions(place + "/custom");
    const ToolRun undisturbed = runOperation();
    ASSERT_EQ(undisturbed.status, 0) << undisturbed.err;
    changed = stateOfCustom();
    newDefinitions = readDefinitions(place + "/custom");
    ASSERT_NE(old, changed);
    ASSERT_FALSE(isMarked());
    reset();
}

void FaultTest::reset() const {
    layFrom(temp / "prototype", place);
}

void FaultTest::beginHere() const {
    layFrom(place, temp / "prototype");
}

void FaultTest::keep() const {
    removeTree(temp / "kept");
    makeDir(temp / "kept");
    layFrom(place, temp / "kept");
}

void FaultTest::resetToKept() const {
    layFrom(temp / "kept", place);
}

std::vector<std::string> FaultTest::commandLine(const std::vector<std::string>& arguments) const {
    std::vector<std::string> line = {"--default-dir",  place + "/default",
                                     "--custom-dir",   place + "/custom",
                                     "--staging-dir",  place + "/staging",
                                     "--map",          temp / "list.json",
                                     "--codec-runner", "",
                                     "--log-level",    "off"};
    for (const std::string& argument : arguments)
        line.push_back(replaced(argument, "$T", temp.path()));
    return line;
}

Variables FaultTest::environment(const Variables& more) const {
    Variables variables = more + Variables{{"LD_LIBRARY_PATH", SCADA_FAULT_PROVIDER_DIR}, {"SCADA_TEST_NO_SYNC", "1"}};
    if (way == Way::IN_PLACE)
        variables["SCADA_TEST_NO_EXCHANGE"] = "1";
    return variables;
}

ToolRun FaultTest::run(const std::vector<std::string>& arguments, const Variables& more) const {
    return RunningTool(commandLine(arguments), environment(more), temp.path()).wait();
}

ToolRun FaultTest::runOperation(const Variables& more) const {
    return run(operation.arguments, more);
}

std::vector<Step> FaultTest::stepsOfOperation(const Variables& more) const {
    reset();
    return stepsOf(operation.arguments, more);
}

std::vector<Step> FaultTest::stepsOf(const std::vector<std::string>& arguments, const Variables& more) const {
    const std::string log = temp / "steps";
    removeTree(log);
    EXPECT_EQ(run(arguments, more + Variables{{"SCADA_TEST_FAULT_LOG", log}}).status, 0);
    std::vector<Step> steps;
    std::istringstream lines(readFile(log));
    std::string line;
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        Step step{};
        unsigned int needs = 0;
        words >> step.number >> needs >> step.function >> std::ws;
        step.takesSpace = (needs & 1U) != 0;
        step.takesInode = (needs & 2U) != 0;
        std::getline(words, step.path);
        steps.push_back(step);
    }
    return steps;
}

std::size_t FaultTest::programsAmong(const std::vector<Step>& steps) {
    return static_cast<std::size_t>(
        std::count_if(steps.begin(), steps.end(), [](const Step& step) { return step.function == "posix_spawnp"; }));
}

State FaultTest::stateOfCustom() const {
    return stateOf(place + "/custom");
}

bool FaultTest::shows(const State& state, const Definitions& definitions) const {
    return readDefinitions(place + "/custom") == definitions && stateOfCustom() == state;
}

// An empty storage counts as none: an installation that was not completed may have made one.
bool FaultTest::isOld() const {
    const bool isEmpty = old.empty() && stateOfCustom().size() == 1;
    return isEmpty || shows(old, oldDefinitions);
}

bool FaultTest::isNew() const {
    return shows(changed, newDefinitions);
}

bool FaultTest::isMarked() const {
    return fs::exists(place + "/custom/" + MARK);
}

bool FaultTest::has(const std::string& generation) const {
    return fs::exists(place + "/custom.generations/" + generation);
}

bool FaultTest::isInterrupted() const {
    return has("interrupted");
}

// --- expectations

void FaultTest::expectNextInstallation() const {
    const State before = stateOfCustom();
    const bool keeps =
        isNew() && operation.arguments.front() == "install" && fs::exists(place + "/default/lora/demo/old.json");
    const ToolRun next = run({"install", "$T/later"});
    EXPECT_EQ(next.status, 0) << next.out << next.err;
    State after = stateOfCustom();
    EXPECT_EQ(after.count("lora/later/z.json"), 1U);
    for (const char* added : {"lora/later", "lora/later/z.json", "lora/later/z-decoder"})
        after.erase(added);
    for (const char* directory : {"", "lora"}) {
        if (before.count(directory) == 0)
            after.erase(directory);
    }
    EXPECT_EQ(after, before);
    EXPECT_FALSE(isMarked());
    if (!before.empty()) {
        EXPECT_EQ(stateOf(place + "/custom.generations/previous"), before);
    }
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(place + "/custom.generations", error)) {
        const std::string name = entry.path().filename();
        EXPECT_TRUE(name == "previous" || name == "history" || name == "hidden") << name;
    }
    if (keeps)
        expectKeptDefault();
    for (const std::string& name : treeOf(place + "/staging"))
        ADD_FAILURE() << "in the staging directory: " << name;
}

// The default definition that the installation hid must be in its place, whole, as soon as the installation is.
void FaultTest::expectKeptDefault() const {
    const Tool::InstalledFiles installed = Tool::installedFiles(place + "/custom", "lora/demo/old");
    const std::string kept =
        place + "/custom.generations/hidden/" + Tool::hiddenEntry("lora/demo/old", installed) + "/lora/demo/old";
    for (const char* suffix : {".json", ".js"}) {
        ASSERT_TRUE(fs::exists(kept + suffix));
        EXPECT_EQ(readFile(kept + suffix), readFile(place + "/default/lora/demo/old" + suffix));
    }
}

std::string FaultTest::phase() const {
    const std::string storage = isOld() ? "old" : isNew() ? "new" : "neither";
    if (way == Way::IN_PLACE)
        return storage + (isInterrupted() ? ", journal" : "");
    if (storage == "old")
        return has("next") ? "old, next begun" : "old";
    return storage + (isMarked() ? ", marked" : "");
}

void FaultTest::expectRefused() const {
    const State before = stateOfCustom();
    const ToolRun refused = run({"install", "$T/later"});
    EXPECT_EQ(refused.status, 5) << refused.err;
    EXPECT_NE((refused.out + refused.err).find("recover"), std::string::npos) << refused.out << refused.err;
    EXPECT_EQ(stateOfCustom(), before);
}

void FaultTest::expectMended(bool forward) const {
    const ToolRun mended =
        run(forward ? std::vector<std::string>{"recover", "--forward"} : std::vector<std::string>{"recover"});
    EXPECT_EQ(mended.status, 0) << mended.out << mended.err;
    EXPECT_FALSE(isInterrupted());
    EXPECT_TRUE(forward ? isNew() : isOld());
    expectNextInstallation();
}

void FaultTest::expectAfterKill(Phases* phases) const {
    const std::string found = phase();
    ++(*phases)[found];
    if (isInterrupted()) {
        EXPECT_EQ(way, Way::IN_PLACE);
        expectRefused();
        keep();
        expectMended(false);
        resetToKept();
        expectMended(true);
        return;
    }
    EXPECT_TRUE(isOld() || isNew()) << found;
    expectNextInstallation();
}

std::string FaultTest::expectNothingTorn(const ToolRun& failed) const {
    EXPECT_LT(failed.status, 128);
    EXPECT_NE(failed.err, "");
    if (isInterrupted() || isMarked()) {
        EXPECT_NE(failed.err.find("scada-sensors recover"), std::string::npos);
    }
    std::string found = stateAfterRecovery();
    EXPECT_TRUE(found != "new" && found != "neither") << found;
    return found;
}

std::string FaultTest::stateAfterRecovery() const {
    if (!isInterrupted() && !isMarked())
        return isOld() ? "old" : isNew() ? "new" : "neither";
    const bool forward = isMarked();
    const ToolRun mended = run({"recover"});
    EXPECT_EQ(mended.status, 0) << mended.out << mended.err;
    EXPECT_TRUE(forward ? isNew() : isOld());
    return forward ? "new when recovered" : "old when recovered";
}

std::string FaultTest::expectAfterCut(bool mustBeNew) const {
    if (isInterrupted()) {
        EXPECT_EQ(way, Way::IN_PLACE);
        EXPECT_FALSE(mustBeNew) << "it was said to be new";
        keep();
        expectMended(false);
        resetToKept();
        expectMended(true);
        return "old when recovered, new when recovered forward";
    }
    std::string found = stateAfterRecovery();
    const bool isOneOfTheTwo = found == "new" || found == "new when recovered" || (found == "old" && !mustBeNew);
    EXPECT_TRUE(isOneOfTheTwo) << found << (mustBeNew ? ", although it was said to be new" : "");
    expectNextInstallation();
    return found;
}

void expectPhases(const std::map<std::string, int>& phases, const Case& row) {
    for (const auto& [phase, count] : phases)
        std::printf("%s: %s: %d\n", nameOf(row).c_str(), phase.c_str(), count);
    const std::vector<std::string> byExchange = {"old", "old, next begun", "new, marked", "new"};
    const std::vector<std::string> inPlace = {"old", "old, journal", "neither, journal", "new, journal", "new"};
    for (const std::string& phase : row.way == Way::EXCHANGE ? byExchange : inPlace)
        EXPECT_EQ(phases.count(phase), 1U) << phase;
}

} // namespace Kelvra::SCADA::Test
