#pragma once

namespace Kelvra::SCADA::Tool {

/// Opens those of the descriptors 0 to 2 that are closed. A closed one would become the first file or socket that is
/// opened, and messages would go there.
void openStandardDescriptors();

/// Makes a write to a closed pipe or beyond a file-size limit an error instead of the end of the process. The programs
/// that the stand-in runs start with the default.
void ignoreWriteSignals();

/// Fixes where the programs that the library runs are found, and takes away what their shell would obey, so that
/// whoever calls the tool does not choose what runs with its rights. REQUIRES: no other thread is running.
void fixEnvironment();

/// Keeps others from writing what the library and its programs make, also while they are at it.
void fixUmask();

} // namespace Kelvra::SCADA::Tool
