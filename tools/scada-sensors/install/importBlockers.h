#pragma once

#include "check/Finding.h"

#include <map>
#include <string>

namespace Kelvra::SCADA::Tool {

/// Finds what would end the import of a definition. Definitions share their directories: each of these is looked at
/// once. REQUIRES: the custom storage does not change meanwhile.
class ImportBlockers {
public:
    ImportBlockers();

    /// Returns everything in the custom storage that would end the import of a definition, in the library's words.
    /// Nothing is opened: an import that met a FIFO would wait for its other end.
    Findings of(const std::string& name);

private:
    /// What there is at the path of a directory.
    struct Level {
        bool reachable = false;
        bool blocked = false; ///< not there, and cannot be made
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
