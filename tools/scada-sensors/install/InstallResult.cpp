#include "install/InstallResult.h"

#include "text/digest.h"

namespace Kelvra::SCADA::Tool {

InstallResult::InstallResult(const std::vector<PlannedDefinition>& definitions) {
    for (const PlannedDefinition& planned : definitions) {
        Files& noted = files[planned.name];
        noted.before = planned.former ? *planned.former : installedFiles(planned.name);
        noted.wanted = planned.wanted;
        if (noted.wanted.decoder.empty())
            noted.wanted.decoder = digestOfFile(planned.decoderPath);
    }
}

void InstallResult::refresh() {
    for (std::vector<std::string>* names : {&complete, &sameAsBefore, &partial, &missing})
        names->clear();
    changed = false;
    for (const auto& [name, content] : files) {
        const InstalledFiles now = installedFiles(name);
        const bool untouched = now == content.before;
        changed = changed || !untouched;
        if (now == content.wanted)
            (untouched ? sameAsBefore : complete).push_back(name);
        else
            (untouched ? missing : partial).push_back(name);
    }
}

} // namespace Kelvra::SCADA::Tool
