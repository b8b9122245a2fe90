#include <scada/DefinitionSpec.h>

namespace Kelvra::SCADA {

DefinitionSpec::DefinitionSpec() = default;

DefinitionSpec::DefinitionSpec(const Json::Value& document, const std::string& decoder)
    : json(document), decoderPath(decoder) {}

} // namespace Kelvra::SCADA
