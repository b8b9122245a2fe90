#pragma once

#include <cstddef>

namespace Kelvra::SCADA::Codec {

/// Gives up everything that the process does not need: core files, files, new privileges, and the host's time zone.
void restrictProcess();

/// Limits the address space to that of an engine with so many bytes.
void boundAddressSpace(std::size_t memory);

/// The filter for system calls. It allows those that the engine needs; any other call ends the process.
class SystemCallFilter {
public:
    SystemCallFilter();
    ~SystemCallFilter();
    SystemCallFilter(const SystemCallFilter&) = delete;
    SystemCallFilter& operator=(const SystemCallFilter&) = delete;

    /// Activates the filter. Returns false if the kernel does not support it.
    bool load();

private:
    void* rules;
};

} // namespace Kelvra::SCADA::Codec
