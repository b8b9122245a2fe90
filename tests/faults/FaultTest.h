#pragma once

#include "TempDir.h"
#include "run_tool.h"

#include <sys/types.h>

#include <gtest/gtest.h>

#include <csignal>
#include <cstddef>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Test {

/// The number of cases to try, or n for every n-th: all with SCADA_LONG_FAULTS=1; otherwise as many as a usual test run
/// has time for; or, if a run of the tool takes up to ten times as long (emulated or with sanitizers), only the few
/// that cover each kind of fault.
struct Extent {
    long all;
    long usual;
    long slow;
};
long chosen(const Extent& extent);

/// The exit status of a run that was killed.
constexpr int KILLED = 128 + SIGKILL;
/// For the cases that choose at random.
constexpr unsigned int SEED = 20261122;

/// The path of everything below a directory, and of the directory itself as "", with mode and bytes.
using State = std::map<std::string, std::string>;

State stateOf(const std::string& directory);

/// The library's view of a storage: each listed name with the document and the decoder, or with the fault.
struct Definition {
    std::string document;
    std::string decoder;
    bool operator==(const Definition& other) const { return document == other.document && decoder == other.decoder; }
};
using Definitions = std::map<std::string, Definition>;

Definitions readDefinitions(const std::string& directory);

/// The way in which the tool brings the storage from one state to the next.
enum class Way { EXCHANGE, IN_PLACE };

/// An operation that changes the storage. "$T" stands for the temporary directory.
struct Operation {
    const char* name;
    bool hasStorage;                    ///< whether there is a storage before
    std::vector<std::string> before;    ///< a run of the tool before it, if any
    std::vector<std::string> arguments; ///< the run itself
};

const std::vector<Operation>& operations();
const Operation& operationNamed(const std::string& name);

struct Case {
    Operation operation;
    Way way;
};

/// Every operation in both ways.
std::vector<Case> everyCase();
/// Returns a name such as "overwriting_installation_by_exchange".
std::string nameOf(const Case& row);
std::string caseName(const ::testing::TestParamInfo<Case>& info);
void PrintTo(const Case& row, std::ostream* out);

/// Environment variables of one run of the tool; fault_provider.cpp describes them.
using Variables = std::map<std::string, std::string>;

Variables faultAt(const std::string& fault, long number);
Variables operator+(Variables some, const Variables& others);

/// A call by which the tool changes files.
struct Step {
    long number;
    bool takesSpace;
    bool takesInode;
    std::string function;
    std::string path;
};

/// A run of the tool in parallel to the test.
class RunningTool {
public:
    /// Writes its output to the files `out` and `err` in the directory `outputs`.
    RunningTool(const std::vector<std::string>& arguments, const Variables& variables, std::string outputs);
    /// Kills the tool if it is still running.
    ~RunningTool();
    RunningTool(const RunningTool&) = delete;
    RunningTool& operator=(const RunningTool&) = delete;

    void send(int signal) const;
    /// Sends the signal to all processes to which a terminal would send it.
    void sendToGroup(int signal) const;
    bool hasEnded();
    std::string output() const;
    /// Waits for the end of the tool and, if no other run exists, of every process that it has started.
    ToolRun wait();

private:
    bool collect(int options);

    static int running;
    std::string directory;
    pid_t child;
    int status = -1;
};

/// As long as the object exists, this process adopts all orphaned descendants, so that it can wait for them.
class Subreaper {
public:
    Subreaper();
    ~Subreaper();
    Subreaper(const Subreaper&) = delete;
    Subreaper& operator=(const Subreaper&) = delete;
};

/// Storages in the temporary directory, the states before and after an operation, and disturbed runs of the tool on
/// them.
class FaultTest : public ::testing::Test {
protected:
    FaultTest();

    /// Makes the storages for an operation and runs it once, so that `old` and `changed` are known.
    void prepare(const Operation& wanted, Way wantedWay);
    /// Restores everything to the moment before the operation. Mounts stay.
    void reset() const;
    /// Makes the present state the one in which the operation begins.
    void beginHere() const;
    /// keep() saves the present state; resetToKept() restores it.
    void keep() const;
    void resetToKept() const;

    std::vector<std::string> commandLine(const std::vector<std::string>& arguments) const;
    Variables environment(const Variables& more) const;
    ToolRun run(const std::vector<std::string>& arguments, const Variables& more = {}) const;
    ToolRun runOperation(const Variables& more = {}) const;
    std::vector<Step> stepsOf(const std::vector<std::string>& arguments, const Variables& more = {}) const;
    /// Runs the operation undisturbed. Returns its steps, or only those below a directory if `more` says so.
    std::vector<Step> stepsOfOperation(const Variables& more = {}) const;
    /// Returns the number of programs that this run starts.
    static std::size_t programsAmong(const std::vector<Step>& steps);

    State stateOfCustom() const;
    bool isOld() const;
    bool isNew() const;
    bool isMarked() const;
    bool isInterrupted() const;
    bool has(const std::string& generation) const;

    /// Expects that a run that reported a failure changed nothing, or said how to get to the old or the new state.
    /// Returns which of these is the case.
    std::string expectNothingTorn(const ToolRun& failed) const;
    /// Lets the tool repair the storage if necessary. Returns the state of the storage after that.
    std::string stateAfterRecovery() const;
    /// Checks everything that must hold after a power cut, and repairs the storage in both ways if there are two.
    /// Returns the state found. Everything may be changed afterwards.
    std::string expectAfterCut(bool mustBeNew) const;
    /// Expects that the next installation succeeds, changes nothing else and leaves nothing behind.
    void expectNextInstallation() const;

    /// States found after kills, in words, and their numbers.
    using Phases = std::map<std::string, int>;
    /// Checks everything that must hold after the operation was killed, and repairs the storage. Everything may be
    /// changed afterwards.
    void expectAfterKill(Phases* phases) const;

    Subreaper subreaper;
    TempDir temp;
    std::string place = temp / "work"; ///< the directory that has the storages
    Operation operation;
    Way way = Way::EXCHANGE;
    State old;
    State changed;
    Definitions oldDefinitions;
    Definitions newDefinitions;

private:
    void layStorage() const;
    bool shows(const State& state, const Definitions& definitions) const;
    std::string phase() const;
    void expectRefused() const;
    void expectKeptDefault() const;
    void expectMended(bool forward) const;
};

/// Prints the counts and expects that every required phase has occurred.
void expectPhases(const std::map<std::string, int>& phases, const Case& row);

} // namespace Kelvra::SCADA::Test
