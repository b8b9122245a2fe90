#pragma once

#include <string>

namespace Kelvra::SCADA::Test {

/// A private directory for the time of one test, under $TMPDIR or /tmp; its path has no symbolic link in it.
class TempDir {
public:
    TempDir();
    /// Removes the whole tree, directories that cannot be read included.
    ~TempDir();

    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return root; }
    std::string operator/(const std::string& relative) const { return root + "/" + relative; }

private:
    std::string root;
};

/// Removes whatever is at `path`, with all that is below it, however long the paths there are.
void removeTree(const std::string& path);

} // namespace Kelvra::SCADA::Test
