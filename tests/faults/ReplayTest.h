#pragma once

#include "FaultTest.h"
#include "trace.h"

#include <string>
#include <vector>

namespace Kelvra::SCADA::Test {

/// Power cuts without a disk: the tool's changes are recorded and replayed up to each point on a model.
class ReplayTest : public FaultTest {
protected:
    /// Runs the tool, starting with the present state.
    std::vector<Change> traceOf(const std::vector<std::string>& arguments) const;

    /// Makes the directory after some of the operation's cuts, and checks everything that must hold after a power cut.
    void expectWholeAfterEachCut() const;

private:
    /// Expects that the trace leads from the kept state to the present one.
    void expectComplete(const std::vector<Change>& changes) const;
    void cutEverywhere(const std::vector<Change>& changes, Unsynced unsynced, Phases* phases) const;
};

} // namespace Kelvra::SCADA::Test
