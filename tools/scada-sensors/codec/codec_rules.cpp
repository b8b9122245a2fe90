#include "codec/codec_rules.h"

#include "check/schema_rules.h"
#include "codec/Examples.h"
#include "codec/Runner.h"
#include "codec/differences.h"
#include "codec/value_rules.h"
#include "device/CodecSettings.h"
#include "text/Descriptor.h"
#include "text/filled.h"
#include "text/text.h"

#include <scada/SensorDefinitions.h>

#include <set>
#include <utility>
#include <vector>

namespace Kelvra::SCADA::Tool {

namespace {

const Rule& ruleOf(const DecoderException& exception, const Rule& otherwise) {
    if (!exception.newer.empty())
        return Rules::CODEC_NEEDS_NEWER;
    return exception.missing.empty() ? otherwise : Rules::CODEC_NOT_OFFERED;
}

std::string exceptionText(const DecoderException& exception) {
    if (!exception.newer.empty())
        return filled("It asks for \"%s\" of newer JavaScript: %s", {exception.newer, exception.text});
    if (!exception.missing.empty())
        return filled("It asks for \"%s\", which is not offered: %s", {exception.missing, exception.text});
    return filled("It threw an exception: %s", {exception.text});
}

std::string inExample(const Example& example, const std::string& text) {
    return filled("In \"%s\": %s", {example.description, text});
}

std::string joined(const std::vector<std::string>& texts) {
    constexpr std::size_t MOST = 5;
    std::string text;
    for (std::size_t at = 0; at < texts.size() && at < MOST; ++at)
        text += (at == 0 ? "" : "; ") + texts[at];
    return texts.size() <= MOST ? text + "."
                                : filled("%s; and %s.", {text, counted(texts.size() - MOST, "other difference")});
}

/// Runs the decoder of one definition on its examples.
class DecoderCheck {
public:
    DecoderCheck(const Definition& checked, DefinitionPlaces* itsPlaces, std::string script, RunnersAhead* ahead)
        : definition(checked), places(itsPlaces),
          properties(checked.document[SensorDefinitions::JSON_PROPERTIES_SECTION]),
          runner(std::move(script), checked.verdict.decoderPath, ahead) {}

    Findings run() {
        const Examples examples = readExamples(definition.document);
        const LoadResult& loaded = runner.load();
        if (const std::optional<Finding> fault = loadingFault(loaded, definition.verdict.decoderPath))
            findings.push_back(*fault);
        else
            runExamples(examples.sound);
        for (const ExampleFault& fault : examples.faults)
            findings.push_back({Rules::CODEC_BAD_EXAMPLE, placeOf(fault.path), fault.text});
        return std::move(findings);
    }

private:
    Place placeOf(const std::vector<std::string>& path) {
        return {definition.file, places->json().positionOfPath(path)};
    }

    void add(const Rule& rule, const Example& example, const std::string& text) {
        findings.push_back(
            {rule, placeOf({EXAMPLES_SECTION, std::to_string(example.index)}), inExample(example, text)});
    }

    // If the engine reports the decoder's line, that line says more than the example's. A fault of the runner has
    // nothing to do with the example.
    void addFault(const Example& example, const CallResult& result) {
        Finding fault = callFault(result, definition.verdict.decoderPath);
        if (fault.place.position.line == 0 && result.kind != CallResult::Kind::FAULT)
            add(*fault.rule, example, fault.text);
        else
            findings.push_back({*fault.rule, fault.place, inExample(example, fault.text)});
    }

    void runExamples(const std::vector<Example>& examples) {
        for (const Example& example : examples) {
            const CallResult result = runner.call(example.input);
            judge(example, result);
            // After a fault, the runner's answers would say nothing about the decoder.
            if (result.kind == CallResult::Kind::FAULT)
                return;
            // Each example can have findings about other values.
            if (areTooMany(findings))
                return;
        }
        if (succeeded)
            noteUnseen();
    }

    void judge(const Example& example, const CallResult& result) {
        const bool threw = result.kind == CallResult::Kind::EXCEPTION;
        if (result.kind != CallResult::Kind::VALUE && !(threw && example.throws))
            addFault(example, result);
        else if (result.kind == CallResult::Kind::VALUE && example.throws)
            add(Rules::CODEC_SHOULD_THROW, example, filled("It should throw an exception."));
        else if (result.kind == CallResult::Kind::VALUE)
            judgeValue(example, readResult(runner.load().entryPoint, result));
    }

    void judgeValue(const Example& example, const DecodedUplink& uplink) {
        if (!uplink.fault.empty()) {
            add(Rules::CODEC_BAD_RESULT, example, uplink.fault);
            return;
        }
        succeeded = true;
        const std::vector<std::string> texts = differences(example.output, uplink);
        if (!texts.empty())
            add(Rules::CODEC_EXAMPLE_DIFFERS, example, joined(texts));
        const std::vector<NamedValue> values = namedValues(uplink, properties);
        for (const NamedValue& value : values)
            seen.insert(value.path);
        const std::size_t before = findings.size();
        for (const Misfit& misfit : misfits(values, properties)) {
            if (findings.size() - before > MOST_FINDINGS)
                return;
            if (told.insert({misfit.rule, misfit.path}).second)
                add(*misfit.rule, example, misfit.text);
        }
    }

    void noteUnseen() {
        for (const std::string& property : properties.getMemberNames()) {
            if (properties[property].isObject() && seen.count(property) == 0)
                findings.push_back({Rules::CODEC_NEVER_SEEN,
                                    placeOf({SensorDefinitions::JSON_PROPERTIES_SECTION, property}),
                                    filled("No example has a value for \"%s\".", {property})});
        }
    }

    const Definition& definition;
    DefinitionPlaces* places;
    const Json::Value& properties;
    Runner runner;
    Findings findings;
    bool succeeded = false;
    std::set<std::string> seen;
    std::set<std::pair<const Rule*, std::string>> told; ///< each value once
};

} // namespace

std::optional<Finding> loadingFault(const LoadResult& loaded, const std::string& file) {
    const DecoderException& exception = loaded.exception;
    const Place place(file, exception.position);
    switch (loaded.kind) {
    case LoadResult::Kind::LOADED:
        if (!loaded.entryPoint.empty())
            return std::nullopt;
        return Finding{Rules::CODEC_NO_ENTRY_POINT,
                       {file, {1, 1}},
                       filled("It has no function decodeUplink, Decode or Decoder after it has run.")};
    case LoadResult::Kind::NOT_LOADED:
        if (!exception.newer.empty())
            return Finding{Rules::CODEC_NEEDS_NEWER, place,
                           filled("It needs newer JavaScript than %s has: \"%s\". The rest was not read.",
                                  {loaded.engine, exception.newer})};
        return Finding{ruleOf(exception, Rules::CODEC_DOES_NOT_LOAD), place,
                       exception.missing.empty() ? filled("It does not load: %s", {exception.text})
                                                 : exceptionText(exception)};
    case LoadResult::Kind::LIMIT:
        return Finding{Rules::CODEC_OVER_LIMIT, {file, {1, 1}}, filled("While it is loaded: %s", {loaded.text})};
    case LoadResult::Kind::NO_RUNNER:
        return Finding{Rules::CODEC_NO_RUNNER, {file}, loaded.text};
    case LoadResult::Kind::FAULT:
        break;
    }
    return Finding{Rules::CODEC_RUNNER_FAULT, {file}, loaded.text};
}

Finding callFault(const CallResult& result, const std::string& file) {
    if (result.kind == CallResult::Kind::EXCEPTION)
        return {ruleOf(result.exception, Rules::CODEC_THREW),
                {file, result.exception.position},
                exceptionText(result.exception)};
    return {result.kind == CallResult::Kind::LIMIT ? Rules::CODEC_OVER_LIMIT : Rules::CODEC_RUNNER_FAULT,
            {file},
            result.text};
}

bool CodecCheck::isAsked(const Definition& definition) const {
    return isWanted && !codecSettings().runner.empty() && definition.verdict.valid &&
           !definition.verdict.decoderPath.empty();
}

bool CodecCheck::judgesExamplesOf(const Definition& definition) const {
    return isAsked(definition) && isRunnerThere();
}

Findings CodecCheck::check(const Definition& definition, DefinitionPlaces* places) {
    if (!isAsked(definition))
        return {};
    if (!isRunnerThere()) {
        isMissing = true;
        return {};
    }
    std::string script;
    const std::string failure = readRegularFile(definition.verdict.decoderPath, &script);
    if (!failure.empty())
        return {{Rules::CODEC_DOES_NOT_LOAD,
                 {definition.verdict.decoderPath},
                 filled("The decoder cannot be read: %s", {failure})}};
    return DecoderCheck(definition, places, std::move(script), &ahead).run();
}

Findings checkSchemaAndDecoder(const Definition& definition, CodecCheck* decoders, DefinitionPlaces* places) {
    const ExamplesJudge judge = decoders->judgesExamplesOf(definition) ? ExamplesJudge::DECODER : ExamplesJudge::SCHEMA;
    Findings findings = checkSchema(definition, judge, places);
    append(decoders->check(definition, places), &findings);
    return findings;
}

Findings CodecCheck::missingRunner() const {
    if (!isMissing)
        return {};
    return {{Rules::CODEC_NO_RUNNER,
             {codecSettings().runner},
             filled("There is no such program, so that no decoder was run.")}};
}

} // namespace Kelvra::SCADA::Tool
