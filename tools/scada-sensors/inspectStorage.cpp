#include "inspect.h"

#include <scada/FsNode.h>

#include <filesystem>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

void append(const Faults& more, Faults* faults) {
    faults->insert(faults->end(), more.begin(), more.end());
}

// Returns whether there is a directory to look into.
bool inspectDirectory(const Storage& storage, Inspection* inspection) {
    const std::string which = std::string("the ") + wordOf(storage.type) + " storage";
    if (storage.dir.empty()) {
        inspection->notes.push_back({which, "has no directory and is not searched"});
        return false;
    }
    std::error_code error;
    const fs::file_status status = fs::status(storage.dir, error);
    if (status.type() == fs::file_type::not_found)
        inspection->notes.push_back({storage.dir, which + " does not exist"});
    else if (!fs::status_known(status))
        inspection->faults.push_back({storage.dir, which + " cannot be reached: " + error.message()});
    else if (!fs::is_directory(status))
        inspection->faults.push_back({storage.dir, which + " is not a directory"});
    return fs::is_directory(status);
}

} // namespace

std::set<std::string> decodersOf(const std::string& dir, const std::set<std::string>& names) {
    std::set<std::string> decoders;
    for (const std::string& name : names) {
        std::string resolved;
        const Definition definition = readDefinition(dir, name);
        if (!definition.spec.decoderPath.empty() && FsNode(definition.spec.decoderPath).realPath(&resolved))
            decoders.insert(resolved);
    }
    return decoders;
}

Inspection inspectStorage(const Storage& storage) {
    Inspection inspection;
    if (!inspectDirectory(storage, &inspection))
        return inspection;
    inspection.definitions = storage.names.size();
    for (const std::string& name : storage.names)
        append(inspectDefinition(storage.dir, name), &inspection.faults);
    append(inspectTree(storage.dir, storage.names, decodersOf(storage.dir, storage.names)), &inspection.faults);
    return inspection;
}

} // namespace Kelvra::SCADA::Tool
