#pragma once

#include "check/Finding.h"
#include "check/SourceCopy.h"
#include "install/IntakeLimits.h"
#include "install/PrivateDirectory.h"

#include <map>
#include <string>

namespace Kelvra::SCADA::Tool {

class CopyBuilder;

/// Copies the source of an installation, a directory or an archive, into a separate directory, once. The owner of the
/// source can change it while it is examined; the copy does not change. Links are not followed, and special files are
/// not opened.
class Intake {
public:
    /// Throws std::runtime_error if no copy can be made.
    Intake(const std::string& source, const IntakeLimits& limits);

    const SourceCopy& copy() const { return taken; }

    /// The reasons to refuse the whole source. The copy is then incomplete.
    const Findings& refusals() const { return found; }

    /// Returns the entries that could not be read, except those that `findings` already name in the copy.
    Findings unreadable(const Findings& findings) const;

private:
    void takeArchive(int descriptor, CopyBuilder* builder);

    PrivateDirectory directory;
    SourceCopy taken;
    Findings found;
    std::map<std::string, std::string> failures; ///< the reasons by relative path
};

/// Removes the copies that killed processes of this user have left behind.
void removeLeftCopies();

/// Whether a source is read as an archive: a file, or "-" for standard input.
bool isArchive(const std::string& source);

} // namespace Kelvra::SCADA::Tool
