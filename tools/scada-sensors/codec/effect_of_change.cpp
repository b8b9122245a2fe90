#include "codec/effect_of_change.h"

#include "answer/json.h"
#include "codec/Examples.h"
#include "codec/Runner.h"
#include "codec/codec_rules.h"
#include "codec/differences.h"
#include "text/Descriptor.h"
#include "text/filled.h"
#include "text/text.h"

#include <scada/DefinitionsStorage.h>

#include <algorithm>
#include <map>
#include <utility>

namespace Kelvra::SCADA::Tool {

namespace {

using Kind = ResultChange::Kind;
using Texts = std::vector<std::string>;

// Each of them may use all of its time.
constexpr int MOST_FAILED_CALLS = 3;

constexpr std::size_t MOST_CHANGES = 1000;
constexpr std::size_t MOST_TEXT = 256UL * 1024UL;

/// The result of one uplink.
struct UplinkResult {
    std::map<std::string, MeasuredValue> values;
    Texts warnings;
    Texts errors;
    bool isException = false;
    std::string failure; ///< the failure that came instead of the above, if any
};

const Json::Value& propertiesOf(const Definition& definition) {
    return definition.document[DefinitionsStorage::JSON_PROPERTIES_SECTION];
}

std::string unitOf(const Json::Value& properties, const std::string& path) {
    const Json::Value& property = properties[path];
    return property.isObject() && property["unit"].isString() ? property["unit"].asString() : "";
}

/// One of the two definitions, with its decoder.
class Side {
public:
    Side(const Definition& itsDefinition, const std::string& script)
        : definition(itsDefinition), runner(script, definition.verdict.decoderPath) {}

    /// Returns why the decoder cannot be called, or nothing.
    std::string load() {
        const std::optional<Finding> fault = loadingFault(runner.load(), definition.verdict.decoderPath);
        return fault ? fault->text : "";
    }

    UplinkResult run(const UplinkCall& uplink) {
        const CallResult result = runner.call(uplink);
        UplinkResult uplinkResult;
        if (result.kind == CallResult::Kind::VALUE)
            return read(result);
        uplinkResult.isException = result.kind == CallResult::Kind::EXCEPTION;
        failedCalls += uplinkResult.isException ? 0 : 1;
        uplinkResult.failure = uplinkResult.isException ? filled("the exception [%s]", {result.exception.text})
                                                        : filled("the failure [%s]", {result.text});
        return uplinkResult;
    }

    bool isExhausted() const { return failedCalls >= MOST_FAILED_CALLS; }

private:
    UplinkResult read(const CallResult& result) {
        const DecodedUplink uplink = readResult(runner.load().entryPoint, result);
        UplinkResult uplinkResult;
        uplinkResult.failure = uplink.fault.empty() ? "" : filled("the failure [%s]", {uplink.fault});
        uplinkResult.warnings = uplink.warnings;
        uplinkResult.errors = uplink.errors;
        const Json::Value& properties = propertiesOf(definition);
        for (const NamedValue& value : namedValues(uplink, properties))
            uplinkResult.values[value.path] = {value, unitOf(properties, value.path)};
        return uplinkResult;
    }

    const Definition& definition;
    Runner runner;
    int failedCalls = 0;
};

bool isSame(const MeasuredValue& one, const MeasuredValue& other) {
    return one.unit == other.unit && one.value.special == other.value.special &&
           isSameValue(one.value.value, other.value.value);
}

bool isSame(const UplinkCall& one, const UplinkCall& other) {
    return one.fPort == other.fPort && one.bytes == other.bytes && one.recvTime == other.recvTime;
}

/// Compares the results of one example, and notes the changes.
class ExampleComparison {
public:
    ExampleComparison(std::string description, std::vector<ResultChange>* found)
        : example(std::move(description)), changes(found) {}

    void compare(const UplinkResult& from, const UplinkResult& to) {
        if (from.failure.empty() && to.failure.empty()) {
            compareValues(from.values, to.values);
            compareMessages(Kind::ERROR, from.errors, to.errors);
            compareMessages(Kind::WARNING, from.warnings, to.warnings);
        } else if (from.failure != to.failure && !(from.isException && to.isException)) {
            // The texts of exceptions come from the engine.
            add(Kind::RESULT, wordsFor(from), wordsFor(to));
        }
    }

private:
    using Values = std::map<std::string, MeasuredValue>;

    void compareValues(const Values& from, const Values& to) {
        for (const auto& [path, value] : from) {
            const auto other = to.find(path);
            if (other == to.end())
                changes->push_back({Kind::VALUE, example, value, std::nullopt, "", ""});
            else if (!isSame(value, other->second))
                changes->push_back({Kind::VALUE, example, value, other->second, "", ""});
        }
        for (const auto& [path, value] : to) {
            if (from.count(path) == 0)
                changes->push_back({Kind::VALUE, example, std::nullopt, value, "", ""});
        }
    }

    void compareMessages(Kind kind, const Texts& from, const Texts& to) {
        const auto has = [](const Texts& texts, const std::string& text) {
            return std::find(texts.begin(), texts.end(), text) != texts.end();
        };
        for (const std::string& text : from) {
            if (!has(to, text))
                add(kind, text, "");
        }
        for (const std::string& text : to) {
            if (!has(from, text))
                add(kind, "", text);
        }
    }

    void add(Kind kind, const std::string& from, const std::string& to) {
        changes->push_back({kind, example, std::nullopt, std::nullopt, from, to});
    }

    static std::string wordsFor(const UplinkResult& given) {
        return given.failure.empty() ? counted(given.values.size(), "value") : given.failure;
    }

    std::string example;
    std::vector<ResultChange>* changes;
};

// Uplinks that both definitions have are used once.
std::vector<Example> examplesOfBoth(const Definition& present, const Definition& wanted) {
    const std::vector<Example> known = readExamples(present.document).sound;
    std::vector<Example> examples = known;
    for (Example& more : readExamples(wanted.document).sound) {
        const auto isKnown = [&more](const Example& one) { return isSame(one.input, more.input); };
        const auto isNamesake = [&more](const Example& one) { return one.description == more.description; };
        if (std::any_of(known.begin(), known.end(), isKnown))
            continue;
        if (std::any_of(known.begin(), known.end(), isNamesake))
            more.description += " (new)";
        examples.push_back(std::move(more));
    }
    return examples;
}

/// The results of both definitions for their examples.
class Effect {
public:
    Effect(const Definition& present, const Definition& wanted, const std::string& former, const std::string& latter)
        : examples(examplesOfBoth(present, wanted)), from(present, former), to(wanted, latter) {}

    EffectOfChange run() {
        const std::string reason = examples.empty() ? filled("neither definition has examples") : load();
        if (!reason.empty())
            return {{}, reason, true};
        for (const Example& example : examples) {
            if (from.isExhausted() || to.isExhausted())
                return {std::move(changes), filled("too many calls gave no result; the other examples are left out"),
                        true};
            const UplinkResult former = from.run(example.input);
            ExampleComparison(example.description, &changes).compare(former, to.run(example.input));
            if (areTooMany())
                return {std::move(changes), filled("too much changes; the other examples are left out"), true};
        }
        return {std::move(changes), "", true};
    }

private:
    std::string load() {
        const std::string present = from.load();
        if (!present.empty())
            return filled("the present decoder cannot be called: %s", {present});
        const std::string wanted = to.load();
        return wanted.empty() ? "" : filled("the new decoder cannot be called: %s", {wanted});
    }

    bool areTooMany() {
        for (; counted < changes.size(); ++counted) {
            const ResultChange& change = changes[counted];
            size += change.fromText.size() + change.toText.size();
            for (const std::optional<MeasuredValue>& one : {change.from, change.to})
                size += one ? jsonText(one->value.value, "").size() : 0;
        }
        return changes.size() > MOST_CHANGES || size > MOST_TEXT;
    }

    std::vector<Example> examples;
    Side from;
    Side to;
    std::vector<ResultChange> changes;
    std::size_t counted = 0;
    std::size_t size = 0;
};

// Whether the decoder can be read and called.
bool readDecoder(const Definition& definition, std::string* script) {
    const std::string& file = definition.verdict.decoderPath;
    return definition.verdict.valid && !file.empty() && readRegularFile(file, script).empty();
}

} // namespace

EffectOfChange effectOfChange(const Definition& present, const Definition& wanted) {
    std::string former;
    std::string latter;
    if (!isRunnerThere() || !readDecoder(present, &former) || !readDecoder(wanted, &latter) ||
        (former == latter && propertiesOf(present) == propertiesOf(wanted)))
        return {};
    return Effect(present, wanted, former, latter).run();
}

} // namespace Kelvra::SCADA::Tool
