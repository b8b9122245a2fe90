#pragma once

#include <cstddef>
#include <cstdint>

namespace Kelvra::SCADA::Tool {

/// The largest source that is accepted. Sizes are in bytes and include the holes of files.
struct IntakeLimits {
    static constexpr std::uint64_t MEGABYTE = std::uint64_t{1024} * 1024;

    std::uint64_t definition = MEGABYTE;
    std::uint64_t decoder = 4 * MEGABYTE; ///< and of every other file
    std::uint64_t source = 64 * MEGABYTE;
    std::size_t definitions = 10000;

    /// Files, directories and links together.
    std::size_t entries() const { return 5 * definitions + 1000; }
};

} // namespace Kelvra::SCADA::Tool
