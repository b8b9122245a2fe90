#pragma once

#include "check/Finding.h"

#include <map>
#include <string>

namespace Kelvra::SCADA::Tool {

/// Finds the reasons why the import of a definition would fail. Definitions share directories: each one is checked
/// once. REQUIRES: the custom storage does not change meanwhile.
class ImportBlockers {
public:
    ImportBlockers();

    /// Returns everything in the custom storage that would make the import of a definition fail, in the library's
    /// words. Opens nothing: an import that met a FIFO would wait for its other end.
    Findings of(const std::string& name);

private:
    /// The state of the path of a directory.
    struct Level {
        bool reachable = false;
        bool blocked = false; ///< missing, and cannot be made
        bool unreadable = false;
        bool link = false;
        bool writable = false;
    };

    const Level& levelAt(const std::string& path);
    Findings onTheWay(const std::string& name, bool* reachable);
    bool takesDocument(const std::string& file);
    bool takesDecoder(const std::string& file);

    const std::string custom;
    std::map<std::string, Level> levels;
};

/// Returns why the staging directory cannot be used, or nothing.
Findings stagingBlockers();

} // namespace Kelvra::SCADA::Tool
