#include "check/stale_overrides.h"

#include "check/definition_difference.h"
#include "text/digest.h"

namespace Kelvra::SCADA::Tool {

namespace {

// For definitions that cannot be used.
bool differInBytes(const Definition& then, const Definition& now) {
    return digestOfFile(then.file) != digestOfFile(now.file) ||
           digestOfFile(then.verdict.decoderPath) != digestOfFile(now.verdict.decoderPath);
}

bool hasChanged(const Storages& storages, const std::string& former, const std::string& name) {
    const Definition then = readDefinition(former, name);
    const Definition now = readDefinition(storages.of(STORAGE_DEFAULT).path(), name);
    if (!then.verdict.valid || !now.verdict.valid)
        return differInBytes(then, now);
    const DefinitionDifference difference = differenceBetween(then, now);
    // A decoder that cannot be read may be the same.
    return !difference.members.empty() || (difference.decoder && difference.decoder->failure.empty());
}

} // namespace

const char* wordOf(DefaultSince since) {
    switch (since) {
    case DefaultSince::CHANGED:
        return "changed";
    case DefaultSince::GONE:
        return "gone";
    case DefaultSince::NEW:
        return "new";
    case DefaultSince::SAME:
        break;
    }
    return "";
}

DefaultSince defaultSince(const Storages& storages, const std::string& name, const InstalledFiles* present) {
    const std::string former = storages.formerDefault(name, present);
    if (!storages.isHiding(name))
        return former.empty() ? DefaultSince::SAME : DefaultSince::GONE;
    if (former.empty())
        return storages.hidNothing(name, present) ? DefaultSince::NEW : DefaultSince::SAME;
    return hasChanged(storages, former, name) ? DefaultSince::CHANGED : DefaultSince::SAME;
}

bool isRememberedOtherwise(const Storages& storages, const std::string& name, const InstalledFiles& present) {
    return defaultSince(storages, name, &present) != DefaultSince::SAME ||
           (storages.isHiding(name) && storages.formerDefault(name, &present).empty());
}

} // namespace Kelvra::SCADA::Tool
