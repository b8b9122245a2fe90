#include "commands/finding_text.h"

#include "answer/printable.h"

namespace Kelvra::SCADA::Tool {

std::string placeText(const Place& place) {
    std::string text = place.file;
    for (const unsigned int number : {place.position.line, place.position.column})
        text += number == 0 ? "" : ":" + std::to_string(number);
    return text;
}

std::string toText(const Finding& finding, const Screen& screen) {
    const Place& place = finding.place;
    std::string where = placeText(place);
    where += where.empty() ? "" : ": ";
    std::string text = ": ";
    if (place.element)
        text += "element " + std::to_string(*place.element) + ": ";
    text += finding.text + " [" + finding.rule->id + "]";
    return printable(where) + screen.mark(wordOf(finding.rule->severity)) + printable(text) + "\n    " +
           finding.rule->remedy + "\n";
}

std::string toText(const Findings& findings, const Screen& screen) {
    std::string text;
    for (const Finding& finding : findings)
        text += toText(finding, screen);
    return text;
}

Json::Value toJson(const Findings& findings) {
    Json::Value array(Json::arrayValue);
    for (const Finding& finding : findings) {
        Json::Value& item = array.append(Json::objectValue);
        item["rule"] = finding.rule->id;
        item["severity"] = wordOf(finding.rule->severity);
        item["file"] = finding.place.file;
        if (finding.place.position.line != 0)
            item["line"] = finding.place.position.line;
        if (finding.place.position.column != 0)
            item["column"] = finding.place.position.column;
        if (finding.place.element)
            item["element"] = *finding.place.element;
        if (!finding.definition.empty())
            item["definition"] = finding.definition;
        item["text"] = finding.text;
        item["remedy"] = finding.rule->remedy;
    }
    return array;
}

ExitCode failedFor(const Findings& findings, ExitCode code, const Answer& answer, Json::Value result,
                   const std::string& text) {
    result["findings"] = toJson(findings);
    return answer.failedWith(code, findings.front().text, toText(findings), result, text);
}

} // namespace Kelvra::SCADA::Tool
