#pragma once

#include <string>

namespace Kelvra::SCADA::Tool {

// The tool can work on the files of another device, which are mounted or unpacked below a directory: an image. A link
// in it leads where it leads on that device, and nothing outside is opened.

/// Works on the image below `root` from now on: the configured storages and the list are those in it. Throws
/// std::runtime_error when one of their paths leads nowhere.
void enterImage(const std::string& root);

bool isImage();

/// Returns the directory of the image, without links, or "/" without one.
std::string rootDirectory();

/// Returns where a path of the image leads, with all links followed; one that leads nowhere is returned as a path that
/// nothing can have. What does not exist is taken as written. Without an image, returns the path itself.
std::string inImage(const std::string& path);

} // namespace Kelvra::SCADA::Tool
