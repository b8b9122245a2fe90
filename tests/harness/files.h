#pragma once

#include <map>
#include <set>
#include <string>

namespace Kelvra::SCADA::Test {

// Each of these throws std::runtime_error if it fails.

/// Writes the file anew and makes its parent directories.
void writeFile(const std::string& path, const std::string& text);

std::string readFile(const std::string& path);

/// Makes the directory and its parents; it may exist.
void makeDir(const std::string& path);

/// Makes the symbolic link `path`, and its parent directories, pointing to `target`.
void makeLink(const std::string& target, const std::string& path);

/// Makes the FIFO `path`, and its parent directories.
void makeFifo(const std::string& path);

/// Makes the Unix socket `path`, and its parent directories. Nobody listens on it.
void makeSocket(const std::string& path);

/// Returns the relative paths of everything below `path`. Does not follow links.
std::set<std::string> treeOf(const std::string& path);

/// Returns the relative path of everything below `path`, each with its bytes; for a link "-> " and its target,
/// otherwise nothing.
std::map<std::string, std::string> snapshot(const std::string& path);

} // namespace Kelvra::SCADA::Test
