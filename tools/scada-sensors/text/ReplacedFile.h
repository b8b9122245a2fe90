#pragma once

#include "text/Descriptor.h"

#include <sys/stat.h>

#include <optional>
#include <string>

namespace Kelvra::SCADA::Tool {

/// A file that is written beside its place and takes it in one step when it is complete: whatever was there before
/// stays until then, and nothing is left of one that is given up.
class ReplacedFile {
public:
    /// Takes the path of a regular file that this user may write, of a link to one, which keeps leading to it, or of
    /// none.
    explicit ReplacedFile(const std::string& path);
    ~ReplacedFile();
    ReplacedFile(const ReplacedFile&) = delete;
    ReplacedFile& operator=(const ReplacedFile&) = delete;

    /// When it is not open, errno tells why.
    bool isOpen() const { return file.isOpen(); }
    int number() const { return file.number(); }

    /// Puts what was written into its place, once it is on the disk. A file that was there before passes its mode on, a
    /// new one gets 0644. Returns the error number when it cannot, and 0 on success.
    int complete();

private:
    std::string place;
    std::string temporary;
    std::optional<struct stat> former;
    Descriptor file;
};

} // namespace Kelvra::SCADA::Tool
