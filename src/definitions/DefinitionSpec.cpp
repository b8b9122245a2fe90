#include <scada/DefinitionSpec.h>

namespace Kelvra::SCADA {

DefinitionSpec::DefinitionSpec() = default;

// NOLINTNEXTLINE(modernize-pass-by-value): the signature is given
DefinitionSpec::DefinitionSpec(const Json::Value& document, const std::string& decoder)
    // NOLINTNEXTLINE(modernize-pass-by-value)
    : json(document), decoderPath(decoder) {}

} // namespace Kelvra::SCADA
