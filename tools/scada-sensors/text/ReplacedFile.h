#pragma once

#include "text/Descriptor.h"

#include <sys/types.h>

#include <string>

namespace Kelvra::SCADA::Tool {

/// A file that is written beside its place and takes it in one step when it is complete: whatever was there before
/// stays until then, and nothing is left of one that is given up.
class ReplacedFile {
public:
    /// Takes the path of a regular file, or of none; a link would be replaced itself.
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
    mode_t mode;
    Descriptor file;
};

} // namespace Kelvra::SCADA::Tool
