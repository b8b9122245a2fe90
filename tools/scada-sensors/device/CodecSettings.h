#pragma once

#include <cstdint>
#include <string>

namespace Kelvra::SCADA::Tool {

/// The program that runs decoders, and the limits of one call of a decoder.
struct CodecSettings {
    std::string runner;                             ///< empty: decoders are not run, and no message says so
    double seconds = 1;                             ///< of CPU time
    std::uint64_t memory = std::uint64_t{16} << 20; ///< bytes
    std::uint64_t output = std::uint64_t{64} << 10; ///< bytes of a result's JSON
    unsigned int depth = 32;                        ///< of a result
    bool hasOverrunLimits = true; ///< whether to make no more calls after many have exceeded their time
};

/// The settings of this process, which the options of every command can change.
CodecSettings& codecSettings();

} // namespace Kelvra::SCADA::Tool
