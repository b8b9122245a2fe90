#include "check/storage_rules.h"

#include "check/definition_rules.h"
#include "check/stale_overrides.h"
#include "check/tree_rules.h"
#include "device/GenerationPaths.h"
#include "device/image.h"
#include "device/paths.h"
#include "text/filled.h"

#include <scada/Env.h>

#include <filesystem>
#include <system_error>
#include <utility>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

// Returns why the directory cannot be examined, or nothing.
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

Findings checkStorage(DefinitionDirectory& storage, const std::string& which, const DefinitionCheck& also) {
    Findings findings = checkDirectory(storage.path(), which);
    if (!findings.empty())
        return findings;
    for (const std::string& name : storage.names()) {
        Definition definition = storage.load(name);
        DefinitionPlaces places(definition.file);
        append(checkDefinition(definition, &places), &findings);
        append(also(std::move(definition), &places), &findings);
    }
    append(checkTree(storage), &findings);
    return findings;
}

// Readers can then find a mixture of old and new files.
Findings checkExchange(const std::string& dir) {
    const std::string reason = dir.empty() || isImage() ? "" : whyNotExchangeable(canonicalPath(dir));
    if (reason.empty())
        return {};
    return {{Rules::STORAGE_IN_PLACE,
             {dir},
             filled("Operations change the custom storage file by file and not in one step: %s.", {reason})}};
}

Findings checkEnd(const std::string& dir) {
    if (dir.empty() || !isUnfinished(GenerationPaths(canonicalPath(dir))))
        return {};
    return {{Rules::STORAGE_UNFINISHED,
             {dir},
             filled("The last operation has put its state in place and has not come to its end.")}};
}

Findings checkHiding(const Storages& storages, const std::string& name) {
    const std::string file = definitionFile(storages.of(STORAGE_CUSTOM).path(), name);
    Findings findings;
    if (storages.isHiding(name))
        findings.push_back(
            {Rules::STORAGE_HIDES_DEFAULT, {file}, filled("It hides the default definition [%s].", {name})});
    switch (defaultSince(storages, name)) {
    case DefaultSince::CHANGED:
        findings.push_back(
            {Rules::STORAGE_DEFAULT_CHANGED,
             {file},
             filled("The default definition [%s] that it hides has changed since it was installed.", {name})});
        break;
    case DefaultSince::GONE:
        findings.push_back({Rules::STORAGE_DEFAULT_GONE,
                            {file},
                            filled("The default definition [%s] that it hid when it was installed is gone.", {name})});
        break;
    case DefaultSince::NEW:
        findings.push_back(
            {Rules::STORAGE_DEFAULT_NEW,
             {file},
             filled("The default definition [%s] that it hides has come since it was installed.", {name})});
        break;
    case DefaultSince::SAME:
        break;
    }
    return findings;
}

} // namespace

Findings checkInterruption() {
    const GenerationPaths paths = GenerationPaths::ofDevice();
    if (!isInterrupted(paths))
        return {};
    return {{Rules::STORAGE_INTERRUPTED,
             {Env::inst().conf().getDfnCustomDir()},
             filled("An operation was interrupted; the custom storage is neither in the old nor in the new state.")}};
}

Findings checkStorages(Storages& storages, const DefinitionCheck& also) {
    Findings findings;
    for (const STORAGE_TYPE type : {STORAGE_DEFAULT, STORAGE_CUSTOM})
        append(checkStorage(storages.of(type), wordOf(type), also), &findings);
    const DefinitionDirectory& custom = storages.of(STORAGE_CUSTOM);
    append(checkInterruption(), &findings);
    append(checkEnd(custom.path()), &findings);
    append(checkExchange(custom.path()), &findings);
    for (const std::string& name : custom.names())
        append(checkHiding(storages, name), &findings);
    return findings;
}

} // namespace Kelvra::SCADA::Tool
