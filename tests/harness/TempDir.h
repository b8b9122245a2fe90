#pragma once

#include <string>

namespace Kelvra::SCADA::Test {

/// A private directory. Its path contains no symbolic link.
class TempDir {
public:
    /// Makes it under $TMPDIR or /tmp.
    TempDir();
    explicit TempDir(const std::string& parent);
    /// Removes the whole tree, including directories that cannot be read.
    ~TempDir();

    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return root; }
    std::string operator/(const std::string& relative) const { return root + "/" + relative; }

private:
    std::string root;
};

/// Removes `path` and everything below it, however long the paths are.
void removeTree(const std::string& path);

} // namespace Kelvra::SCADA::Test
