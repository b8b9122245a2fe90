#include "device/Storages.h"

#include <scada/Env.h>

namespace Kelvra::SCADA::Tool {

const char* wordOf(STORAGE_TYPE storage) {
    return storage == STORAGE_CUSTOM ? "custom" : "default";
}

Storages::Storages() : custom(Env::inst().conf().getDfnCustomDir()), standard(Env::inst().conf().getDfnDefaultDir()) {}

STORAGE_TYPE Storages::decidingFor(const std::string& name) const {
    return custom.lists(name) ? STORAGE_CUSTOM : STORAGE_DEFAULT;
}

} // namespace Kelvra::SCADA::Tool
