#pragma once

#include "check/Finding.h"
#include "check/SourceCopy.h"
#include "install/IntakeLimits.h"
#include "install/PrivateDirectory.h"

#include <map>
#include <string>

namespace Kelvra::SCADA::Tool {

class CopyBuilder;

/// Copies the source of an installation, a directory or an archive, into a directory of its own, once. Whoever owns the
/// source can change it while it is examined; the copy stays as it is. Links are not followed, special files are not
/// opened.
class Intake {
public:
    /// Throws std::runtime_error when no copy can be made.
    Intake(const std::string& source, const IntakeLimits& limits);

    const SourceCopy& copy() const { return taken; }

    /// What refuses the source as a whole. The copy is not complete then.
    const Findings& refusals() const { return found; }

    /// Returns what could not be read, but for the entries of the copy that `findings` name already.
    Findings unreadable(const Findings& findings) const;

private:
    void takeArchive(int descriptor, CopyBuilder* builder);

    PrivateDirectory directory;
    SourceCopy taken;
    Findings found;
    std::map<std::string, std::string> failures; ///< the reasons by relative path
};

/// Removes the copies that killed processes of this user have left.
void removeLeftCopies();

/// Whether a source is read as an archive: a file, or "-" for standard input.
bool isArchive(const std::string& source);

} // namespace Kelvra::SCADA::Tool
