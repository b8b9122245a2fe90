#pragma once

#include <cstddef>

namespace Kelvra::SCADA::Codec {

/// Takes from the process what it does not need: core files, files, new privileges, and the zone of the surroundings.
void restrictProcess();

/// Bounds the address space for an engine with that many bytes.
void boundAddressSpace(std::size_t memory);

/// The filter that lets through the system calls that the engine needs. Any other one ends the process.
class SystemCallFilter {
public:
    SystemCallFilter();
    ~SystemCallFilter();
    SystemCallFilter(const SystemCallFilter&) = delete;
    SystemCallFilter& operator=(const SystemCallFilter&) = delete;

    /// Puts it into force. Returns false where the kernel has no such filter.
    bool load();

private:
    void* rules;
};

} // namespace Kelvra::SCADA::Codec
