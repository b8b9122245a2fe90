#include "device/plain_list.h"

#include <scada/SensorMapEntry.h>

namespace Kelvra::SCADA::Tool {

namespace {

/// Takes one token after the other. Each function returns false if the text goes on with anything else.
class PlainReader {
public:
    explicit PlainReader(std::string_view wholeText) : text(wholeText) {}

    bool readList(std::vector<PlainElement>* elements) {
        if (!take('['))
            return false;
        if (!take(']')) {
            do {
                if (!readElement(&elements->emplace_back()))
                    return false;
            } while (take(','));
            if (!take(']'))
                return false;
        }
        skipBlanks();
        return at == text.size();
    }

private:
    bool readElement(PlainElement* element) {
        if (!take('{'))
            return false;
        element->start = at - 1;
        do {
            std::string_view name;
            std::string_view value;
            if (!takeString(&name) || !take(':') || !takeString(&value))
                return false;
            keep(name, value, element);
        } while (take(','));
        if (!take('}'))
            return false;
        element->end = at;
        return isSound(element->id) && isSound(element->src) && isSound(element->sensor);
    }

    // Of two members with one name, the last one counts, as for the JSON reader.
    static void keep(std::string_view name, std::string_view value, PlainElement* element) {
        if (name == SensorMapEntry::JSON_ATTR_ID)
            element->id = value;
        else if (name == SensorMapEntry::JSON_ATTR_SRC)
            element->src = value;
        else if (name == SensorMapEntry::JSON_ATTR_SENSOR)
            element->sensor = value;
    }

    // The only blanks that a plain string can have are spaces. The library removes them from both ends.
    static bool isSound(std::string_view value) {
        return !value.empty() && value.front() != ' ' && value.back() != ' ' &&
               value.find('@') == std::string_view::npos;
    }

    void skipBlanks() {
        while (at < text.size() && (text[at] == ' ' || text[at] == '\n' || text[at] == '\r' || text[at] == '\t'))
            ++at;
    }

    bool take(char wanted) {
        skipBlanks();
        if (at == text.size() || text[at] != wanted)
            return false;
        ++at;
        return true;
    }

    bool takeString(std::string_view* value) {
        if (!take('"'))
            return false;
        const std::size_t start = at;
        while (at < text.size() && static_cast<unsigned char>(text[at]) >= ' ' && text[at] != '"' && text[at] != '\\')
            ++at;
        *value = text.substr(start, at - start);
        if (at == text.size() || text[at] != '"')
            return false;
        ++at;
        return true;
    }

    std::string_view text;
    std::size_t at = 0;
};

} // namespace

std::optional<std::vector<PlainElement>> readPlainList(std::string_view text) {
    std::vector<PlainElement> elements;
    if (!PlainReader(text).readList(&elements))
        return std::nullopt;
    return elements;
}

} // namespace Kelvra::SCADA::Tool
