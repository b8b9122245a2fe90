#include "commands/report_page.h"

#include "answer/HtmlPage.h"
#include "commands/definition_fields.h"
#include "commands/finding_text.h"
#include "commands/report_style.h"
#include "text/filled.h"
#include "text/text.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

namespace Kelvra::SCADA::Tool {

namespace {

// The mark of a state; the words say the same.
constexpr const char* OK_MARK = "mark short ok";
constexpr const char* WARNING_MARK = "mark short warn";
constexpr const char* BAD_MARK = "mark short bad";
constexpr const char* LONG_BAD_MARK = "mark bad";

constexpr std::int64_t A_SECOND = 1000; // in milliseconds

std::string spanText(std::int64_t seconds) {
    constexpr std::int64_t A_MINUTE = 60;
    constexpr std::int64_t AN_HOUR = 60 * A_MINUTE;
    constexpr std::int64_t A_DAY = 24 * AN_HOUR;
    const auto two = [seconds](std::int64_t unit, const char* name, std::int64_t part, const char* ofPart) {
        const std::int64_t rest = seconds % unit / part;
        return std::to_string(seconds / unit) + name + (rest == 0 ? "" : " " + std::to_string(rest) + ofPart);
    };
    if (seconds < A_MINUTE)
        return std::to_string(seconds) + " s";
    if (seconds < AN_HOUR)
        return std::to_string(seconds / A_MINUTE) + " min";
    return seconds < A_DAY ? two(AN_HOUR, " h", A_MINUTE, " min") : two(A_DAY, " d", AN_HOUR, " h");
}

void addShort(HtmlTable* table, HtmlPage* page, const std::string& words) {
    table->beginCell();
    page->element("span", words, {{"class", "short"}});
    table->endCell();
}

void addMark(HtmlTable* table, HtmlPage* page, const std::string& words, const char* mark) {
    table->beginCell();
    page->element("span", words, {{"class", mark}});
    table->endCell();
}

void beginSection(HtmlPage* page, const char* id, const char* heading) {
    const std::string headingId = std::string(id) + "-heading";
    page->begin("section", {{"id", id}, {"aria-labelledby", headingId}});
    page->element("h2", heading, {{"id", headingId}});
}

// --- sensors

/// The word for a sensor's state, and its mark.
struct SensorMark {
    std::string words;
    const char* mark;
};

SensorMark markOf(const ReportedSensor& sensor, const ReportedDefinition* definition, bool hasDatabase) {
    if (definition == nullptr)
        return {"no definition", BAD_MARK};
    if (!definition->verdict.valid)
        return {"broken definition", BAD_MARK};
    if (!hasDatabase)
        return {"unknown", WARNING_MARK};
    if (sensor.state.kind == SensorState::Kind::MISSING)
        return {"no values", WARNING_MARK};
    if (sensor.state.kind == SensorState::Kind::OTHER)
        return {"no hash", BAD_MARK};
    const auto of = [&sensor](StoredValue::State kind) {
        return static_cast<std::size_t>(std::count_if(sensor.values.begin(), sensor.values.end(),
                                                      [kind](const ReportedValue& one) { return one.state == kind; }));
    };
    if (const std::size_t bad = of(StoredValue::State::BAD); bad != 0)
        return {counted(bad, "bad value"), BAD_MARK};
    return of(StoredValue::State::GOOD) == 0 ? SensorMark{"no declared value", WARNING_MARK}
                                             : SensorMark{"ok", OK_MARK};
}

std::string textOf(const StoredValue& stored, const char* member) {
    if (stored.declaration == nullptr)
        return "";
    const Json::Value& text = (*stored.declaration)[member];
    return text.isString() ? text.asString() : "";
}

void addValue(const ReportedValue& value, HtmlPage* page) {
    page->begin("div");
    page->element("dt", value.name);
    page->breakLine();
    page->begin("dd");
    page->text(value.text);
    if (!value.unit.empty())
        page->text(" " + value.unit);
    if (value.state == StoredValue::State::UNDECLARED)
        page->element("span", " undeclared", {{"class", "soft"}});
    if (!value.fault.empty())
        page->element("div", value.fault, {{"class", "fault"}});
    page->end();
    page->end();
}

void addValues(const std::vector<ReportedValue>& values, HtmlPage* page) {
    if (values.empty()) {
        page->text("-");
        return;
    }
    std::string missing;
    page->begin("dl");
    for (const ReportedValue& value : values) {
        if (value.state == StoredValue::State::MISSING)
            missing += (missing.empty() ? "" : ", ") + value.name;
        else
            addValue(value, page);
    }
    page->end();
    if (!missing.empty())
        page->element("p", filled("missing: %s", {missing}), {{"class", "soft"}});
}

std::string ageText(const SensorState& state) {
    const std::optional<std::int64_t> age = secondsSinceWrite(state);
    return age ? spanText(*age) : "-";
}

std::string expiryText(const SensorState& state) {
    if (state.kind == SensorState::Kind::MISSING)
        return "-";
    return state.millisecondsLeft ? spanText((*state.millisecondsLeft + A_SECOND - 1) / A_SECOND) : "never";
}

void addSensor(const Estate& estate, const ReportedSensor& sensor, HtmlTable* table, HtmlPage* page) {
    const std::string name = sensor.element->definitionName();
    const auto found = estate.definitions.find(name);
    const ReportedDefinition* definition = found == estate.definitions.end() ? nullptr : &found->second;
    const SensorMark mark = markOf(sensor, definition, estate.databaseFault.empty());
    table->beginRow();
    table->cell(sensor.element->sensorKey());
    table->cell(name);
    addMark(table, page, mark.words, mark.mark);
    addShort(table, page, ageText(sensor.state));
    addShort(table, page, expiryText(sensor.state));
    table->beginCell();
    addValues(sensor.values, page);
    table->endCell();
    table->endRow();
}

void addSensors(const Estate& estate, HtmlPage* page) {
    beginSection(page, "sensors", "Sensors");
    if (!estate.hasList)
        page->element("p", filled("The list of managed sensors cannot be used. The faults tell why."),
                      {{"class", "notice"}});
    else if (!estate.databaseFault.empty())
        page->element("p", filled("There are no values: %s", {estate.databaseFault}), {{"class", "notice"}});
    page->begin("div", {{"class", "wide"}});
    HtmlTable table(*page, "The managed sensors and their values in the database",
                    {"Sensor", "Definition", "State", "Age", "Expires in", "Values"});
    for (const ReportedSensor& sensor : estate.sensors)
        addSensor(estate, sensor, &table, page);
    table.end();
    page->end();
    page->end();
}

// --- definitions

void addDefinitionRow(const std::string& name, const ReportedDefinition& definition, HtmlTable* table, HtmlPage* page) {
    const Verdict& verdict = definition.verdict;
    table->beginRow();
    table->cell(name);
    addShort(table, page, wordOf(definition.storage));
    addShort(table, page, orDash(hiddenWords(definition.hides, definition.since)));
    table->cell(orDash(verdict.decoderPath));
    table->cell(std::to_string(definition.sensors));
    addMark(table, page, verdict.state, verdict.valid ? OK_MARK : LONG_BAD_MARK);
    table->endRow();
}

// Lines of a decoder's difference begin with the signs of a unified diff.
void addDifferenceLine(const std::string& line, HtmlPage* page) {
    if (startsWith(line, "+"))
        page->element("ins", line);
    else if (startsWith(line, "-"))
        page->element("del", line);
    else
        page->text(line);
    page->breakLine();
}

void addOverrides(const std::vector<ReportedOverride>& overrides, HtmlPage* page) {
    page->begin("div", {{"class", "wide long differences"}});
    HtmlTable table(*page, "Custom definitions that hide default ones, and what they change",
                    {"Definition", "Differences from the default definition"});
    for (const ReportedOverride& one : overrides) {
        table.beginRow();
        table.cell(one.name);
        table.beginCell();
        page->begin("pre", {{"class", "tall"}});
        for (const std::string& line : one.lines)
            addDifferenceLine(line, page);
        page->end();
        table.endCell();
        table.endRow();
    }
    table.end();
    page->end();
}

void addDefinitions(const Estate& estate, HtmlPage* page) {
    beginSection(page, "definitions", "Definitions");
    HtmlTable table(*page, "The definitions in force",
                    {"Definition", "Storage", "Hides", "Decoder", "Sensors", "State"});
    for (const auto& [name, definition] : estate.definitions)
        addDefinitionRow(name, definition, &table, page);
    table.end();
    if (!estate.overrides.empty())
        addOverrides(estate.overrides, page);
    page->end();
}

// --- faults

const char* markOf(Severity severity) {
    if (severity == Severity::ERROR)
        return BAD_MARK;
    return severity == Severity::WARNING ? WARNING_MARK : "mark short";
}

void addFinding(const Finding& finding, HtmlTable* table, HtmlPage* page) {
    const Place& place = finding.place;
    table->beginRow();
    table->beginCell();
    page->element("code", finding.rule->id);
    table->endCell();
    addMark(table, page, wordOf(finding.rule->severity), markOf(finding.rule->severity));
    table->cell(placeText(place) + (place.element ? ", element " + std::to_string(*place.element) : ""));
    table->cell(finding.text);
    table->cell(finding.rule->remedy);
    table->endRow();
}

void addFaults(const Estate& estate, HtmlPage* page) {
    beginSection(page, "faults", "Faults");
    HtmlTable table(*page,
                    "Everything that is wrong with storages, definitions and the list, and what is worth knowing",
                    {"Rule", "Severity", "Place", "Finding", "Remedy"});
    for (const Severity severity : {Severity::ERROR, Severity::WARNING, Severity::NOTE}) {
        for (const Finding& finding : estate.findings) {
            if (finding.rule->severity == severity)
                addFinding(finding, &table, page);
        }
    }
    table.end();
    page->end();
}

// --- history

void addOperation(const HistoryEntry& entry, HtmlTable* table, HtmlPage* page) {
    table->beginRow();
    table->cell(std::to_string(entry.number));
    table->beginCell();
    page->element("span", entry.time, {{"class", "time"}});
    table->endCell();
    table->cell(entry.user);
    table->cell(entry.operation);
    table->beginCell();
    page->begin("ul", {{"class", "tall"}});
    for (const HistoryChange& change : entry.changes)
        page->element("li", change.change + " " + change.name + " " + shortContent(change));
    page->end();
    table->endCell();
    table->endRow();
}

void addHistory(const Estate& estate, HtmlPage* page) {
    beginSection(page, "history", "History");
    page->begin("div", {{"class", "wide long"}});
    HtmlTable table(*page, "The last operations on the custom storage, the newest first",
                    {"Number", "Time", "User", "Operation", "Definitions"});
    for (auto entry = estate.operations.rbegin(); entry != estate.operations.rend(); ++entry)
        addOperation(*entry, &table, page);
    table.end();
    page->end();
    page->end();
}

// --- the page

std::size_t sizeEstimate(const Estate& estate) {
    constexpr std::size_t OF_A_ROW = 512;
    constexpr std::size_t OF_A_VALUE = 96;
    std::size_t size = OF_A_ROW * (estate.sensors.size() + estate.definitions.size() + estate.findings.size());
    for (const ReportedSensor& sensor : estate.sensors)
        size += OF_A_VALUE * sensor.values.size();
    return size;
}

void addLink(const char* target, const std::string& words, HtmlPage* page) {
    page->begin("li");
    page->element("a", words, {{"href", target}});
    page->end();
}

void addHeader(const Estate& estate, const std::string& title, HtmlPage* page) {
    page->begin("header");
    page->element("h1", title);
    page->begin("p", {{"class", "soft"}});
    page->text(filled("As of %s, made by scada-sensors %s.", {estate.time, SCADA_VERSION}));
    page->end();
    page->begin("nav", {{"aria-label", "Sections"}});
    page->begin("ul");
    addLink("#sensors", counted(estate.sensors.size(), "sensor"), page);
    addLink("#definitions", counted(estate.definitions.size(), "definition"), page);
    addLink("#faults", counted(faultCount(estate.findings), "fault"), page);
    addLink("#history", counted(estate.operations.size(), "operation"), page);
    page->end();
    page->end();
    page->end();
}

// The script shows the search field: without a script, nothing can be searched.
void addSearch(HtmlPage* page) {
    page->begin("div", {{"id", "search-box"}, {"class", "search"}, {"role", "search"}, {"hidden", ""}});
    page->element("label", "Search all tables", {{"for", "search"}});
    page->alone("input", {{"id", "search"}, {"type", "search"}, {"autocomplete", "off"}});
    page->element("output", "", {{"id", "found"}, {"for", "search"}, {"class", "soft"}});
    page->end();
}

} // namespace

std::vector<ReportedValue> reportedValues(const SensorState& state, const Json::Value& properties) {
    std::vector<ReportedValue> values;
    if (state.kind != SensorState::Kind::HASH)
        return values;
    std::vector<StoredValue> found = storedValues(state.fields, properties);
    values.reserve(found.size());
    for (StoredValue& stored : found) {
        std::string name = textOf(stored, "name");
        if (name.empty())
            name = std::move(stored.property);
        values.push_back(
            {stored.state, std::move(name), std::move(stored.text), textOf(stored, "unit"), std::move(stored.fault)});
    }
    return values;
}

std::string pageOf(const Estate& estate) {
    const std::string title = filled("Sensors of %s", {estate.host});
    HtmlPage page(title, REPORT_STYLE, REPORT_SCRIPT);
    page.reserve(sizeEstimate(estate));
    addHeader(estate, title, &page);
    addSearch(&page);
    page.begin("main");
    addSensors(estate, &page);
    addDefinitions(estate, &page);
    addFaults(estate, &page);
    addHistory(estate, &page);
    page.end();
    return page.finished();
}

} // namespace Kelvra::SCADA::Tool
