#include "check/schema_rules.h"

#include "check/Schema.h"
#include "check/schema_texts.h"
#include "text/filled.h"

#include <algorithm>
#include <tuple>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr std::size_t MOST_FAULTS = 100;
constexpr const char* EXAMPLES = "examples";

const Schema& definitionSchema() {
    static const Schema schema(DEFINITION_SCHEMA);
    return schema;
}

// The library's verdict and its rules concern the root, its section and the decoder's path.
bool isToldByVerdict(const SchemaFault& fault) {
    return fault.path.empty() || (fault.path.size() == 1 && fault.path.front() != EXAMPLES);
}

bool isBefore(const Finding& one, const Finding& other) {
    const Position& place = one.place.position;
    const Position& otherPlace = other.place.position;
    return std::tie(place.line, place.column) < std::tie(otherPlace.line, otherPlace.column);
}

} // namespace

Findings checkSchema(const Definition& definition, ExamplesJudge judge, DefinitionPlaces* places) {
    const bool isKnown = !definition.document.isNull();
    const Json::Value& document = isKnown ? definition.document : places->json().root();
    if (!document.isObject())
        return {};
    const std::vector<SchemaFault> faults =
        definitionSchema().faultsOf(document, MOST_FAULTS, judge == ExamplesJudge::DECODER ? EXAMPLES : "");
    Findings findings;
    for (const SchemaFault& fault : faults) {
        if (!definition.verdict.valid && isToldByVerdict(fault))
            continue;
        findings.push_back({*fault.rule, {definition.file, places->json().positionOfPath(fault.path)}, fault.text});
    }
    if (faults.size() == MOST_FAULTS && !findings.empty())
        findings.back().text = filled("%s There may be others, which were not looked for.", {findings.back().text});
    std::stable_sort(findings.begin(), findings.end(), isBefore);
    return findings;
}

} // namespace Kelvra::SCADA::Tool
