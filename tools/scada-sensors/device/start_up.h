#pragma once

namespace Kelvra::SCADA::Tool {

/// Opens each of the descriptors 0 to 2 that is closed. Otherwise the first file or socket that is opened would get its
/// number, and messages would go there.
void openStandardDescriptors();

/// Makes a write to a closed pipe or beyond a file-size limit an error that does not end the process. The programs
/// that the stand-in runs start with the default.
void ignoreWriteSignals();

/// Fixes the search path of the programs that the library runs, and removes the variables that their shell would obey,
/// so that the caller of the tool cannot choose what runs with its rights. REQUIRES: no other thread is running.
void fixEnvironment();

/// Prevents others from writing to the files that the library and its programs make, even while they are being made.
void fixUmask();

} // namespace Kelvra::SCADA::Tool
