#pragma once

#include <scada/export.h>

#include <json/value.h>

#include <string>

namespace Kelvra {
namespace SCADA {

/// One sensor definition in memory, as read from a storage or to be written to one. A plain value that owns both
/// members. Serves one thread at a time.
class SCADA_EXPORT DefinitionSpec {
public:
    Json::Value json;        ///< the whole definition document; null if nothing has been read
    std::string decoderPath; ///< full path of the decoder file; empty if the definition has none

    /// Creates a null document without a decoder.
    DefinitionSpec();
    /// Copies both arguments.
    DefinitionSpec(const Json::Value& document, const std::string& decoder);
};

} // namespace SCADA
} // namespace Kelvra
