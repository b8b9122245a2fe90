#pragma once

#include "check/DefinitionPlaces.h"
#include "check/Finding.h"
#include "codec/CallResult.h"
#include "device/DefinitionDirectory.h"

#include <optional>
#include <string>

namespace Kelvra::SCADA::Tool {

/// Runs the decoders of definitions on their examples, one process of the runner for each definition.
class CodecCheck {
public:
    /// Returns everything that is wrong with the decoder and the examples of a sound definition; nothing for others,
    /// and for those without a decoder.
    Findings check(const Definition& definition);

    /// Returns the note that decoders were not run because there is no runner, if so.
    Findings missingRunner() const;

private:
    bool isMissing = false;
};

/// Returns what keeps a decoder from being called, or nothing. `file` is the decoder's.
std::optional<Finding> loadingFault(const LoadResult& loaded, const std::string& file);

} // namespace Kelvra::SCADA::Tool
