#pragma once

#include "text/Descriptor.h"

#include <sys/stat.h>

#include <optional>
#include <string>

namespace Kelvra::SCADA::Tool {

/// A file that is written beside its place and moved there in one step when it is complete. Until then the former file
/// stays. A file that is given up leaves nothing behind.
class ReplacedFile {
public:
    /// Takes the path of a regular file that this user may write, or of a link to one; the file need not exist. A link
    /// keeps leading to the file.
    explicit ReplacedFile(const std::string& path);
    ~ReplacedFile();
    ReplacedFile(const ReplacedFile&) = delete;
    ReplacedFile& operator=(const ReplacedFile&) = delete;

    /// If it is not open, errno has the reason.
    bool isOpen() const { return file.isOpen(); }
    int number() const { return file.number(); }

    /// Moves the written file to its place once it is on the disk. It gets the mode of the file that it replaces; a new
    /// file gets 0644. Returns the error number if that fails, and 0 on success.
    int complete();

private:
    std::string place;
    std::string temporary;
    std::optional<struct stat> former;
    Descriptor file;
};

} // namespace Kelvra::SCADA::Tool
