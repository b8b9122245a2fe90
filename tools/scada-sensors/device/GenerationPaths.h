#pragma once

#include "device/image.h"

#include <string>

namespace Kelvra::SCADA::Tool {

/// The lock file in a mounted custom directory. It belongs to no generation.
inline constexpr const char* LOCK_INSIDE = ".scada-sensors.lock";

/// The paths of the generations of the custom storage. They are in a directory beside it, so that they can be exchanged
/// with it.
struct GenerationPaths {
    /// Takes the canonical path of a custom storage.
    explicit GenerationPaths(const std::string& customDir)
        : custom(customDir), mark(inImage(customDir + MARK)), base(inImage(customDir + ".generations")),
          next(base + "/next"), previous(base + "/previous"), saved(base + "/saved"), superseded(base + "/superseded"),
          discarded(base + "/discarded"), journal(inImage(base + "/interrupted")), history(inImage(base + "/history")),
          hidden(inImage(base + "/hidden")), hiddenNext(base + "/hidden-next"), hiddenFormer(base + "/hidden-former") {}

    /// The paths for the storage that Env names.
    static GenerationPaths ofDevice();

    /// A file in the root of a generation whose operation has not finished.
    static constexpr const char* MARK = "/.new-generation";

    std::string custom;
    std::string mark; ///< in the custom storage
    std::string base;
    std::string next;       ///< the directory that an operation works on; after the exchange, the former storage
    std::string previous;   ///< the generation to which a rollback returns
    std::string saved;      ///< the state before an operation that writes in place
    std::string superseded; ///< the former `previous`, until the operation has finished
    std::string discarded;  ///< followed by a number: entries that could not be removed
    std::string journal;    ///< exists while an operation writes in place
    std::string history;
    std::string hidden;       ///< the default definitions that custom ones hid when they were installed
    std::string hiddenNext;   ///< the same for an operation that has not finished
    std::string hiddenFormer; ///< one of them that is being removed
};

/// Whether neither a custom storage nor a generation of one exists.
bool isAbsent(const GenerationPaths& paths);

/// Whether an operation that wrote in place has not finished, so that the storage is neither old nor new.
bool isInterrupted(const GenerationPaths& paths);

/// Whether a generation is in place whose operation has not finished.
bool isUnfinished(const GenerationPaths& paths);

/// Returns why the custom storage cannot be exchanged with another directory in one step, or nothing. The storage need
/// not exist.
std::string whyNotExchangeable(const std::string& custom);

} // namespace Kelvra::SCADA::Tool
