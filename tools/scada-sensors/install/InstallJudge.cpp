#include "install/InstallJudge.h"

#include "text/digest.h"

namespace Kelvra::SCADA::Tool {

InstallJudge::InstallJudge(const std::vector<PlannedDefinition>& definitions) {
    for (const PlannedDefinition& planned : definitions) {
        Files& noted = files[planned.name];
        noted.before = planned.former ? *planned.former : installedFiles(planned.name);
        noted.wanted = planned.wanted;
        if (noted.wanted.decoder.empty())
            noted.wanted.decoder = digestOfFile(planned.decoderPath);
    }
}

InstallResult InstallJudge::compare() const {
    InstallResult result;
    for (const auto& [name, content] : files) {
        const InstalledFiles now = installedFiles(name);
        if (!(now == content.wanted))
            result.notInstalled.push_back(name);
        else
            (now == content.before ? result.unchanged : result.installed).push_back(name);
    }
    return result;
}

} // namespace Kelvra::SCADA::Tool
