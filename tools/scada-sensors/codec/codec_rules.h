#pragma once

#include "check/DefinitionPlaces.h"
#include "check/Finding.h"
#include "codec/CallResult.h"
#include "codec/Runner.h"
#include "device/DefinitionDirectory.h"

#include <optional>
#include <string>

namespace Kelvra::SCADA::Tool {

/// Runs the decoders of definitions on their examples, with one process of the runner for each definition.
class CodecCheck {
public:
    /// Without `wanted`, nothing is run and nothing is found.
    explicit CodecCheck(bool wanted) : isWanted(wanted) {}

    /// Returns all faults of the decoder and the examples of a definition that is otherwise sound; nothing for other
    /// definitions, and for those without a decoder.
    Findings check(const Definition& definition, DefinitionPlaces* places);

    /// Whether check() reads the examples of the definition.
    bool judgesExamplesOf(const Definition& definition) const;

    /// Returns the note that decoders were not run for lack of a runner, if any decoder should have been run.
    Findings missingRunner() const;

private:
    bool isAsked(const Definition& definition) const;

    RunnersAhead ahead;
    bool isWanted;
    bool isMissing = false;
};

/// Returns where a definition does not fit its schema, and then the faults of its decoder and examples. Only one of the
/// two reports a fault of an example.
Findings checkSchemaAndDecoder(const Definition& definition, CodecCheck* decoders, DefinitionPlaces* places);

/// Returns the fault that prevents a loaded decoder from being called, or nothing. `file` is the decoder's.
std::optional<Finding> loadingFault(const LoadResult& loaded, const std::string& file);

/// Returns the fault of a call that returned no value. `file` is the decoder's; if the engine reports the line of an
/// exception, the finding has it.
Finding callFault(const CallResult& result, const std::string& file);

} // namespace Kelvra::SCADA::Tool
