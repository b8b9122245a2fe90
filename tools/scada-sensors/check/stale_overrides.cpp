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

} // namespace

bool hasDefaultChanged(const Storages& storages, const std::string& name) {
    const std::string former = storages.isHiding(name) ? storages.formerDefault(name) : "";
    if (former.empty())
        return false;
    const Definition then = readDefinition(former, name);
    const Definition now = readDefinition(storages.of(STORAGE_DEFAULT).path(), name);
    if (!then.verdict.valid || !now.verdict.valid)
        return differInBytes(then, now);
    const DefinitionDifference difference = differenceBetween(then, now);
    // A decoder that cannot be read may be the same.
    return !difference.members.empty() || (difference.decoder && difference.decoder->failure.empty());
}

} // namespace Kelvra::SCADA::Tool
