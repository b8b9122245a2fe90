#pragma once

#include "device/Image.h"

#include <string>

namespace Kelvra::SCADA::Tool {

/// The lock file in a custom directory that is mounted. It belongs to no generation.
inline constexpr const char* LOCK_INSIDE = ".scada-sensors.lock";

/// Where the generations of the custom storage are: in a directory beside it, so that they can be exchanged with it.
struct GenerationPaths {
    /// Takes the canonical path of a custom storage.
    explicit GenerationPaths(const std::string& customDir)
        : custom(customDir), mark(inImage(customDir + MARK)), base(inImage(customDir + ".generations")),
          next(base + "/next"), previous(base + "/previous"), saved(base + "/saved"), superseded(base + "/superseded"),
          discarded(base + "/discarded"), journal(inImage(base + "/interrupted")), history(inImage(base + "/history")),
          hidden(inImage(base + "/hidden")), hiddenNext(base + "/hidden-next") {}

    /// The paths for the storage that Env names.
    static GenerationPaths ofDevice();

    /// In the root of a generation whose operation has not come to its end.
    static constexpr const char* MARK = "/.new-generation";

    std::string custom;
    std::string mark; ///< in the custom storage
    std::string base;
    std::string next;       ///< what an operation works on, and after the exchange what the storage was before
    std::string previous;   ///< what a rollback returns to
    std::string saved;      ///< the state before an operation that writes in place
    std::string superseded; ///< the former previous one, until the operation has come to its end
    std::string discarded;  ///< with a number after it: what could not be removed
    std::string journal;    ///< there while an operation writes in place
    std::string history;
    std::string hidden;     ///< the default definitions that custom ones hid when they were installed
    std::string hiddenNext; ///< the same of an operation that has not come to its end
};

/// Whether there is neither a custom storage nor a generation of one.
bool isAbsent(const GenerationPaths& paths);

/// Whether an operation that wrote in place has not come to its end, so that the storage is neither old nor new.
bool isInterrupted(const GenerationPaths& paths);

/// Whether a generation has been put in place by an operation that has not come to its end.
bool isUnfinished(const GenerationPaths& paths);

/// Returns why the custom storage cannot be exchanged with another directory in one step, or nothing. The storage need
/// not exist.
std::string whyNotExchangeable(const std::string& custom);

} // namespace Kelvra::SCADA::Tool
