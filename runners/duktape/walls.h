#pragma once

#include <cstddef>

namespace Kelvra::SCADA::Codec {

/// Takes from the process what it does not need: core files, files, new privileges, and the zone of the surroundings.
void restrictProcess();

/// Bounds the address space for an engine with that many bytes.
void boundAddressSpace(std::size_t memory);

/// From now on every system call but those that the engine needs ends the process.
/// Returns false where the kernel has no such filter.
bool filterSystemCalls();

} // namespace Kelvra::SCADA::Codec
