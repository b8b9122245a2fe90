#include "device/Storages.h"

#include "device/paths.h"

#include <scada/Env.h>

#include <unistd.h>

namespace Kelvra::SCADA::Tool {

const char* wordOf(STORAGE_TYPE storage) {
    return storage == STORAGE_CUSTOM ? "custom" : "default";
}

Storages::Storages()
    : custom(Env::inst().conf().getDfnCustomDir()), standard(Env::inst().conf().getDfnDefaultDir()),
      hidden(custom.path()) {}

STORAGE_TYPE Storages::decidingFor(const std::string& name) const {
    return custom.lists(name) ? STORAGE_CUSTOM : STORAGE_DEFAULT;
}

std::vector<std::string> Storages::unreadable() const {
    std::vector<std::string> directories;
    for (const std::string& dir : {custom.path(), standard.path()}) {
        if (!dir.empty() && access(dir.c_str(), F_OK) == 0 && !isReadable(dir))
            directories.push_back(dir);
    }
    return directories;
}

} // namespace Kelvra::SCADA::Tool
