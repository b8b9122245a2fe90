#pragma once

#include "TempDir.h"
#include "runTool.h"

#include <sys/types.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Test {

/// How many cases are tried, or one of how many: all with SCADA_LONG_FAULTS=1; else as many as a usual test run has the
/// time for, or the few that meet each kind of fault where a run of the tool takes up to ten times as long, emulated or
/// with sanitizers.
struct Extent {
    long all;
    long usual;
    long slow;
};
long chosen(const Extent& extent);

/// The path of everything below a directory, and of itself as "", with its mode and its bytes.
using State = std::map<std::string, std::string>;

State stateOf(const std::string& directory);

/// What the library reads in a storage: each name that it lists with the document and the decoder, or with the fault.
struct Definition {
    std::string document;
    std::string decoder;
    bool operator==(const Definition& other) const { return document == other.document && decoder == other.decoder; }
};
using Definitions = std::map<std::string, Definition>;

Definitions readDefinitions(const std::string& directory);

/// Adds a good definition with a decoder beside it.
void addDefinition(const std::string& storage, const std::string& name, const std::string& title);

/// How the tool brings the storage from one state to the next.
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
/// "overwritingInstallationByExchange" and the like.
std::string nameOf(const Case& row);
std::string caseName(const ::testing::TestParamInfo<Case>& info);
void PrintTo(const Case& row, std::ostream* out);

/// Variables of the environment of one run of the tool; what they do stands in fault_provider.cpp.
using Variables = std::map<std::string, std::string>;

Variables faultAt(const std::string& fault, long number);
Variables operator+(Variables some, const Variables& others);

/// A call with which the tool changes files.
struct Step {
    long number;
    bool takesSpace;
    bool takesInode;
    std::string function;
    std::string path;
};

/// A run of the tool that may go on beside the test.
class RunningTool {
public:
    /// Its output goes to the files `out` and `err` of the directory `outputs`.
    RunningTool(const std::vector<std::string>& arguments, const Variables& variables, std::string outputs);
    /// Kills it when it still runs.
    ~RunningTool();
    RunningTool(const RunningTool&) = delete;
    RunningTool& operator=(const RunningTool&) = delete;

    void send(int signal) const;
    /// Sends it to all that a terminal would send it to.
    void sendToGroup(int signal) const;
    bool hasEnded();
    std::string output() const;
    /// Waits for the end of the tool and, when no other one runs, of everything that it has started.
    ToolRun wait();

private:
    bool collect(int options);

    static int running;
    std::string directory;
    pid_t child;
    int status = -1;
};

/// While it lives, this process is the parent of all that lose theirs, and so can wait for them.
class Subreaper {
public:
    Subreaper();
    ~Subreaper();
    Subreaper(const Subreaper&) = delete;
    Subreaper& operator=(const Subreaper&) = delete;
};

/// Storages in the temporary directory, what an operation makes of them, and runs of the tool on them that are
/// disturbed.
class FaultTest : public ::testing::Test {
protected:
    FaultTest();

    /// Lays the storages for an operation and lets it run once, so that `old` and `changed` are known.
    void prepare(const Operation& wanted, Way wantedWay);
    /// Puts everything back to the moment before the operation. What is mounted there stays.
    void reset() const;
    /// Lets the operation begin with what is there now.
    void beginHere() const;
    /// The same for what keep() has kept.
    void keep() const;
    void resetToKept() const;

    std::vector<std::string> commandLine(const std::vector<std::string>& arguments) const;
    Variables environment(const Variables& more) const;
    ToolRun run(const std::vector<std::string>& arguments, const Variables& more = {}) const;
    ToolRun runOperation(const Variables& more = {}) const;
    std::vector<Step> stepsOf(const std::vector<std::string>& arguments, const Variables& more = {}) const;
    /// Runs the operation undisturbed. Returns its steps; those below a directory only, if `more` says so.
    std::vector<Step> stepsOfOperation(const Variables& more = {}) const;
    /// Returns the programs that this run starts.
    static std::size_t programsAmong(const std::vector<Step>& steps);

    State stateOfCustom() const;
    bool isOld() const;
    bool isNew() const;
    bool isMarked() const;
    bool isInterrupted() const;
    bool has(const std::string& generation) const;

    /// Expects that a run that said that it failed changed nothing, or said what to do to get to the old or the new
    /// state. Returns which it was.
    std::string expectNothingTorn(const ToolRun& failed) const;
    /// Lets the tool mend what it has to. Returns in which state the storage was or is then.
    std::string stateAfterRecovery() const;
    /// Expects what must hold after a power cut, and mends it both ways where there are two. Returns what was found.
    /// Everything may be changed afterwards.
    std::string expectAfterCut(bool mustBeNew) const;
    /// Expects that the next installation succeeds, changes nothing else and leaves nothing behind.
    void expectNextInstallation() const;

    /// What was found after kills, in words, and how often.
    using Phases = std::map<std::string, int>;
    /// Expects what must hold when the operation was killed, and mends it. Everything may be changed afterwards.
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

/// Prints the counts and expects none of the phases that must have been met to be missing.
void expectPhases(const std::map<std::string, int>& phases, const Case& row);

} // namespace Kelvra::SCADA::Test
