#pragma once

#include <string>

namespace Kelvra::SCADA::Tool {

// The tool can work on the files of another device, mounted or unpacked below a directory: an image. A link in it leads
// where it leads on that device, and nothing outside is opened.

/// Works on the image below `root` from now on: the configured storages and the list are those in it. Throws
/// std::runtime_error if one of their paths leads nowhere.
void enterImage(const std::string& root);

bool isImage();

/// Returns the directory of the image, with links resolved, or "/" without an image.
std::string rootDirectory();

/// Returns where a path of the image leads, with all links followed. If it leads nowhere, returns a path that no file
/// can have. Components that do not exist are taken as written. Without an image, returns the path itself.
std::string inImage(const std::string& path);

} // namespace Kelvra::SCADA::Tool
