#include "check/storageRules.h"

#include "check/definitionRules.h"
#include "check/treeRules.h"
#include "device/paths.h"
#include "text/filled.h"

#include <filesystem>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

// Returns why there is no directory to examine, or nothing.
Findings checkDirectory(const std::string& dir, const std::string& which) {
    if (dir.empty())
        return {{Rules::STORAGE_NOT_CONFIGURED,
                 {"the " + which + " storage"},
                 filled("It has no directory and is not searched.")}};
    std::error_code error;
    const fs::file_status status = fs::status(dir, error);
    if (fs::is_directory(status))
        return {};
    if (status.type() == fs::file_type::not_found)
        return {{Rules::STORAGE_MISSING, {dir}, filled("The %s storage does not exist.", {which})}};
    if (!fs::status_known(status))
        return {{Rules::STORAGE_UNREACHABLE,
                 {dir},
                 filled("The %s storage cannot be reached: %s", {which, error.message()})}};
    return {{Rules::STORAGE_NOT_A_DIRECTORY, {dir}, filled("The %s storage is not a directory.", {which})}};
}

Findings checkStorage(DefinitionDirectory& storage, const std::string& which) {
    Findings findings = checkDirectory(storage.path(), which);
    if (!findings.empty())
        return findings;
    for (const std::string& name : storage.names())
        append(checkDefinition(storage.load(name)), &findings);
    append(checkTree(storage), &findings);
    return findings;
}

} // namespace

Findings checkStorages(Storages& storages) {
    Findings findings;
    for (const STORAGE_TYPE type : {STORAGE_DEFAULT, STORAGE_CUSTOM})
        append(checkStorage(storages.of(type), wordOf(type)), &findings);
    const DefinitionDirectory& custom = storages.of(STORAGE_CUSTOM);
    for (const std::string& name : custom.names()) {
        if (storages.isHiding(name))
            findings.push_back({Rules::STORAGE_HIDES_DEFAULT,
                                {definitionFile(custom.path(), name)},
                                filled("It hides the default definition [%s].", {name})});
    }
    return findings;
}

} // namespace Kelvra::SCADA::Tool
