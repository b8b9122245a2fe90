#pragma once

#include <cstddef>

namespace Kelvra::SCADA::Codec {

/// The memory that the engine may take, in bytes. Requests beyond the limit are refused.
class MemoryLimit {
public:
    explicit MemoryLimit(std::size_t most) : limit(most) {}

    void* allocate(std::size_t size);
    void* reallocate(void* block, std::size_t size);
    void release(void* block);

    /// Returns whether anything was refused since the last call.
    bool takeRefused();
    /// Raises the limit by so many bytes, or lowers it if the number is negative.
    void extend(std::ptrdiff_t bytes) { limit += static_cast<std::size_t>(bytes); }

private:
    bool refuses(std::size_t before, std::size_t after);

    std::size_t limit;
    std::size_t used = 0;
    bool refused = false;
};

} // namespace Kelvra::SCADA::Codec
