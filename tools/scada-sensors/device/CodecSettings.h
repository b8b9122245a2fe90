#pragma once

#include <cstdint>
#include <string>

namespace Kelvra::SCADA::Tool {

/// Which program runs decoders, and what one call of a decoder may use.
struct CodecSettings {
    std::string runner;                             ///< empty: decoders are not run, and nothing is said about it
    double seconds = 1;                             ///< of CPU
    std::uint64_t memory = std::uint64_t{16} << 20; ///< bytes
    std::uint64_t output = std::uint64_t{64} << 10; ///< bytes of a result's JSON
    unsigned int depth = 32;                        ///< of a result
    bool hasOverrunLimits = true; ///< whether no more calls are made where many have gone over their time
};

/// The settings of this process, which the options of every command change.
CodecSettings& codecSettings();

} // namespace Kelvra::SCADA::Tool
