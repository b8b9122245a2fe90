#pragma once

#include "NamedRow.h"
#include "ToolTest.h"

#include <json/value.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Test {

/// Something planted around the directories of a test, and the rules that it violates, in the order of the findings.
struct Plant : NamedRow {
    std::function<void(const std::string& dir)> plant; ///< in the temporary directory of the test
    std::vector<std::string> rules;
    std::vector<std::string> options = {}; ///< of the tool; "$T" stands for that directory
};

/// Returns plants that refuse the installation of PreflightTest's source.
const std::vector<Plant>& refusals();
/// Like the above, with names that are printed with escapes.
std::vector<Plant> refusalsOfUnprintableNames();
/// Returns plants that such an installation tolerates, but that the check of the source counts as faults.
const std::vector<Plant>& warnings();
/// Returns plants that cause only a note, not a fault.
const std::vector<Plant>& notes();

/// A source "source" with the good definition lora/demo/th1. The custom storage and the staging directory are not
/// empty.
class PreflightTest : public ToolTest {
protected:
    PreflightTest();

    /// Runs a command on the source with the options of a row. In the result, the free space is "N available".
    ToolRun runOnSource(const std::string& command, const Plant& row, const std::vector<std::string>& more = {}) const;

    /// Returns the content of the storages and the staging directory, byte for byte.
    std::map<std::string, std::string> directories() const;

    StorageBuilder source;
};

/// Returns the rules of an answer's findings, in their order.
std::vector<std::string> rulesOf(const Json::Value& findings);

} // namespace Kelvra::SCADA::Test
