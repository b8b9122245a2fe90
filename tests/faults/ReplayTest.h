#pragma once

#include "FaultTest.h"
#include "Trace.h"

#include <string>
#include <vector>

namespace Kelvra::SCADA::Test {

/// Power cuts without a disk: what a run of the tool does is recorded, and replayed up to each point on a model.
class ReplayTest : public FaultTest {
protected:
    /// Runs the tool from what is there on.
    std::vector<Change> traceOf(const std::vector<std::string>& arguments) const;

    /// Lays what each of some cuts of the operation leaves, and expects of it what must hold after a power cut.
    void expectWholeAfterEachCut() const;

private:
    /// Expects that the trace leads from what is kept to what is there now.
    void expectComplete(const std::vector<Change>& changes) const;
    void cutEverywhere(const std::vector<Change>& changes, Unsynced unsynced, Phases* phases) const;
};

} // namespace Kelvra::SCADA::Test
