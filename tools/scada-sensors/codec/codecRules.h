#pragma once

#include "check/DefinitionPlaces.h"
#include "check/Finding.h"
#include "codec/CallResult.h"
#include "codec/Runner.h"
#include "device/DefinitionDirectory.h"

#include <optional>
#include <string>

namespace Kelvra::SCADA::Tool {

/// Runs the decoders of definitions on their examples, one process of the runner for each definition.
class CodecCheck {
public:
    /// Without `wanted` nothing is run, and nothing is found.
    explicit CodecCheck(bool wanted) : isWanted(wanted) {}

    /// Returns everything that is wrong with the decoder and the examples of a definition that is sound otherwise;
    /// nothing for others, and for those without a decoder.
    Findings check(const Definition& definition, DefinitionPlaces* places);

    /// Whether check() reads the examples of the definition.
    bool judgesExamplesOf(const Definition& definition) const;

    /// Returns the note that decoders were not run because there is no runner, if there was one to run.
    Findings missingRunner() const;

private:
    bool isAsked(const Definition& definition) const;

    RunnersAhead ahead;
    bool isWanted;
    bool isMissing = false;
};

/// Returns where a definition does not fit its schema, and then what is wrong with its decoder and examples. A fault of
/// an example is told by one of the two.
Findings checkSchemaAndDecoder(const Definition& definition, CodecCheck* decoders, DefinitionPlaces* places);

/// Returns what keeps a loaded decoder from being called, or nothing. `file` is the decoder's.
std::optional<Finding> loadingFault(const LoadResult& loaded, const std::string& file);

/// Returns what is wrong with a call that returned no value. `file` is the decoder's, with the line of an exception
/// where the engine tells it.
Finding callFault(const CallResult& result, const std::string& file);

} // namespace Kelvra::SCADA::Tool
