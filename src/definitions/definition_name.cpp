#include "definitions/definition_name.h"

namespace Kelvra::SCADA {

SplitName splitName(const std::string& name) {
    const std::string::size_type separator = name.find_last_of("/\\");
    if (separator == std::string::npos)
        return {name, name};
    return {name.substr(0, separator), name.substr(separator + 1)};
}

std::string definitionPath(const std::string& dir, const std::string& name) {
    return dir + "/" + name + ".json";
}

} // namespace Kelvra::SCADA
