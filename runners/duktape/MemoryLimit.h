#pragma once

#include <cstddef>

namespace Kelvra::SCADA::Codec {

/// The memory that the engine may take, in bytes. What is over the limit is refused.
class MemoryLimit {
public:
    explicit MemoryLimit(std::size_t most) : limit(most) {}

    void* allocate(std::size_t size);
    void* reallocate(void* block, std::size_t size);
    void release(void* block);

    /// Returns whether anything was refused since the last call.
    bool takeRefused();
    /// Lets the engine take that much more, or less again with a negative number.
    void extend(std::ptrdiff_t bytes) { limit += static_cast<std::size_t>(bytes); }

private:
    bool refuses(std::size_t before, std::size_t after);

    std::size_t limit;
    std::size_t used = 0;
    bool refused = false;
};

} // namespace Kelvra::SCADA::Codec
