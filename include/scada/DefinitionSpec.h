#pragma once

#include <scada/export.h>

#include <json/value.h>

#include <string>

namespace Kelvra {
namespace SCADA {

/// One sensor definition in memory, as a storage hands it out or takes it in. A plain value that owns both members;
/// serves one thread at a time.
class SCADA_EXPORT DefinitionSpec {
public:
    Json::Value json;        ///< the whole definition document; null when nothing has been read
    std::string decoderPath; ///< full path of the decoder file; empty when the definition has none

    /// A null document and no decoder.
    DefinitionSpec();
    /// Copies both arguments.
    DefinitionSpec(const Json::Value& document, const std::string& decoder);
};

} // namespace SCADA
} // namespace Kelvra
