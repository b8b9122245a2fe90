#include "Fault.h"

#include "text.h"

namespace Kelvra::SCADA::Tool {

std::string toText(const Fault& fault) {
    std::string place = fault.file;
    if (fault.element)
        place += "[" + std::to_string(*fault.element) + "]";
    if (fault.position.line != 0)
        place += ":" + std::to_string(fault.position.line) + ":" + std::to_string(fault.position.column);
    return printable(place + ": " + fault.text);
}

Json::Value toJson(const Faults& faults) {
    Json::Value array(Json::arrayValue);
    for (const Fault& fault : faults) {
        Json::Value& item = array.append(Json::objectValue);
        item["file"] = fault.file;
        item["text"] = fault.text;
        if (fault.element)
            item["element"] = *fault.element;
        if (fault.position.line != 0) {
            item["line"] = fault.position.line;
            item["column"] = fault.position.column;
        }
    }
    return array;
}

} // namespace Kelvra::SCADA::Tool
