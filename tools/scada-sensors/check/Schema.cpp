#include "check/Schema.h"

#include "text/filled.h"
#include "text/text.h"

#include <json/reader.h>
#include <json/writer.h>

#include <regex.h>

#include <algorithm>
#include <cctype>
#include <functional>
#include <optional>
#include <stdexcept>

namespace Kelvra::SCADA::Tool {

namespace {

// In bytes. Names and values come from the document, and each finding quotes some.
constexpr std::size_t LONGEST_QUOTE = 120;
constexpr const char* DEFINITIONS = "#/$defs/";

[[noreturn]] void refuse(const std::string& what) {
    throw std::logic_error("the schema has " + what);
}

Json::Value parsedSchema(const std::string& text) {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value schema;
    if (!reader->parse(text.data(), text.data() + text.size(), &schema, nullptr))
        refuse("bad syntax");
    return schema;
}

} // namespace

/// A regular expression whose matching uses no stack and takes time in proportion to the text: the text comes from
/// strangers. It means the same to a reader of JSON Schema, because it has no letter after a backslash.
class Schema::Pattern {
public:
    explicit Pattern(const std::string& text) {
        for (std::size_t at = text.find('\\'); at != std::string::npos; at = text.find('\\', at + 2)) {
            if (at + 1 == text.size() || std::isalnum(static_cast<unsigned char>(text[at + 1])) != 0)
                refuse("a pattern with a letter behind a backslash");
        }
        if (regcomp(&compiled, text.c_str(), REG_EXTENDED | REG_NOSUB) != 0)
            refuse("a bad pattern");
    }
    ~Pattern() { regfree(&compiled); }
    Pattern(const Pattern&) = delete;
    Pattern& operator=(const Pattern&) = delete;

    bool matches(const std::string& text) const {
        regmatch_t range{};
        range.rm_eo = static_cast<regoff_t>(text.size());
        return regexec(&compiled, text.c_str(), 1, &range, REG_STARTEND) == 0;
    }

private:
    regex_t compiled{};
};

struct Schema::Node {
    using Child = std::unique_ptr<Node>;

    std::string description;
    std::string type;
    std::vector<std::string> required;
    std::map<std::string, Child> properties;
    Child additionalProperties;
    Child items;
    Child condition;
    Child consequence;
    Child alternative;
    Child excluded;
    std::vector<Child> anyOf;
    std::vector<Child> oneOf;
    Json::Value allowed; ///< an array, or null
    std::optional<Json::Value> constant;
    std::optional<double> minimum;
    std::optional<double> maximum;
    std::unique_ptr<Pattern> pattern;
    std::string reference;
};

namespace {

using Node = Schema::Node;

std::unique_ptr<Node> nodeOf(const Json::Value& schema);

std::vector<std::unique_ptr<Node>> nodesOf(const Json::Value& schemas) {
    std::vector<std::unique_ptr<Node>> nodes;
    for (const Json::Value& schema : schemas)
        nodes.push_back(nodeOf(schema));
    return nodes;
}

std::map<std::string, std::unique_ptr<Node>> namedNodesOf(const Json::Value& schemas) {
    std::map<std::string, std::unique_ptr<Node>> nodes;
    for (const std::string& name : schemas.getMemberNames())
        nodes[name] = nodeOf(schemas[name]);
    return nodes;
}

std::vector<std::string> textsOf(const Json::Value& array) {
    std::vector<std::string> texts;
    for (const Json::Value& text : array)
        texts.push_back(text.asString());
    return texts;
}

void readReference(const Json::Value& value, Node* node) {
    const std::string target = value.asString();
    if (!startsWith(target, DEFINITIONS))
        refuse("a reference to another place: " + target);
    node->reference = target.substr(std::string(DEFINITIONS).size());
}

using ReadKeyword = std::function<void(const Json::Value& value, Node* node)>;

const std::map<std::string, ReadKeyword>& keywords() {
    static const ReadKeyword pass = [](const Json::Value&, Node*) {};
    static const std::map<std::string, ReadKeyword> rows = {
        {"$schema", pass},
        {"$id", pass},
        {"$defs", pass},
        {"$comment", pass},
        {"title", pass},
        {"description", [](const Json::Value& value, Node* node) { node->description = value.asString(); }},
        {"$ref", readReference},
        {"type", [](const Json::Value& value, Node* node) { node->type = value.asString(); }},
        {"required", [](const Json::Value& value, Node* node) { node->required = textsOf(value); }},
        {"properties", [](const Json::Value& value, Node* node) { node->properties = namedNodesOf(value); }},
        {"additionalProperties",
         [](const Json::Value& value, Node* node) { node->additionalProperties = nodeOf(value); }},
        {"items", [](const Json::Value& value, Node* node) { node->items = nodeOf(value); }},
        {"if", [](const Json::Value& value, Node* node) { node->condition = nodeOf(value); }},
        {"then", [](const Json::Value& value, Node* node) { node->consequence = nodeOf(value); }},
        {"else", [](const Json::Value& value, Node* node) { node->alternative = nodeOf(value); }},
        {"not", [](const Json::Value& value, Node* node) { node->excluded = nodeOf(value); }},
        {"anyOf", [](const Json::Value& value, Node* node) { node->anyOf = nodesOf(value); }},
        {"oneOf", [](const Json::Value& value, Node* node) { node->oneOf = nodesOf(value); }},
        {"enum", [](const Json::Value& value, Node* node) { node->allowed = value; }},
        {"const", [](const Json::Value& value, Node* node) { node->constant = value; }},
        {"minimum", [](const Json::Value& value, Node* node) { node->minimum = value.asDouble(); }},
        {"maximum", [](const Json::Value& value, Node* node) { node->maximum = value.asDouble(); }},
        {"pattern", [](const Json::Value& value,
                       Node* node) { node->pattern = std::make_unique<Schema::Pattern>(value.asString()); }},
    };
    return rows;
}

std::unique_ptr<Node> nodeOf(const Json::Value& schema) {
    if (!schema.isObject())
        refuse("a subschema that is not an object");
    auto node = std::make_unique<Node>();
    for (const std::string& name : schema.getMemberNames()) {
        const auto keyword = keywords().find(name);
        if (keyword == keywords().end())
            refuse("an unknown keyword: " + name);
        keyword->second(schema[name], node.get());
    }
    return node;
}

bool isOfType(const Json::Value& value, const std::string& type) {
    if (type == "object")
        return value.isObject();
    if (type == "array")
        return value.isArray();
    if (type == "string")
        return value.isString();
    if (type == "boolean")
        return value.isBool();
    if (type == "number")
        return value.isNumeric();
    if (type == "integer")
        return value.isNumeric() && value.isIntegral();
    refuse("an unknown type: " + type);
}

std::string withArticle(const std::string& type) {
    const bool isVowel = std::string("aeiou").find(type.front()) != std::string::npos;
    return (isVowel ? "an " : "a ") + type;
}

std::string typeOf(const Json::Value& value) {
    if (value.isNull())
        return "null";
    for (const char* type : {"object", "array", "string", "boolean"}) {
        if (isOfType(value, type))
            return withArticle(type);
    }
    return "a number";
}

std::string jsonOf(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

std::string quoted(const Json::Value& value) {
    if (value.isObject() || value.isArray())
        return typeOf(value);
    return shortened(jsonOf(value.isString() ? Json::Value(shortened(value.asString(), LONGEST_QUOTE)) : value),
                     2 * LONGEST_QUOTE);
}

// As in: "a", "b" or "c".
std::string listed(const Json::Value& values) {
    std::string text;
    for (Json::ArrayIndex at = 0; at < values.size(); ++at)
        text += (at == 0 ? "" : at + 1 == values.size() ? " or " : ", ") + jsonOf(values[at]);
    return text;
}

/// The judgement on one document. It notes nothing while it only tries a part of the schema.
class SchemaJudgement {
public:
    SchemaJudgement(const std::map<std::string, std::unique_ptr<Node>>& ofSchema, std::size_t mostFaults,
                    const std::string& leftOut)
        : definitions(ofSchema), most(mostFaults), without(leftOut) {}

    bool judge(const Node& node, const Json::Value& value) {
        if (!node.type.empty() && !isOfType(value, node.type))
            return fails(Rules::SCHEMA_TYPE, [&] {
                return filled("%s must be %s, and is %s.", {name(), withArticle(node.type), typeOf(value)});
            });
        bool fits = judgeScalar(node, value);
        fits = judgeForms(node, value) && fits;
        if (value.isObject())
            fits = judgeMembers(node, value) && fits;
        if (value.isArray() && node.items)
            fits = judgeItems(*node.items, value) && fits;
        if (!node.reference.empty())
            fits = judge(*definitions.at(node.reference), value) && fits;
        return fits;
    }

    std::vector<SchemaFault> faults;

private:
    template <typename Text> bool fails(const Rule& rule, Text text) {
        if (tries == 0 && faults.size() < most)
            faults.push_back({path, &rule, text()});
        return false;
    }

    bool isOver() const { return faults.size() >= most; }

    bool tryOut(const Node& node, const Json::Value& value) {
        ++tries;
        const bool fits = judge(node, value);
        --tries;
        return fits;
    }

    bool judgeScalar(const Node& node, const Json::Value& value) {
        if (node.allowed.isArray() && std::find(node.allowed.begin(), node.allowed.end(), value) == node.allowed.end())
            return fails(Rules::SCHEMA_ENUM, [&] {
                return filled("%s is %s. It must be %s.", {name(), quoted(value), listed(node.allowed)});
            });
        if (node.constant && *node.constant != value)
            return fails(Rules::SCHEMA_ENUM, [&] {
                return filled("%s is %s. It must be %s.", {name(), quoted(value), jsonOf(*node.constant)});
            });
        if (value.isString() && node.pattern && !node.pattern->matches(value.asString()))
            return fails(Rules::SCHEMA_PATTERN, [&] {
                return filled("%s has another form than this: %s", {name(), node.description});
            });
        if (!value.isNumeric())
            return true;
        if (node.minimum && value.asDouble() < *node.minimum)
            return fails(Rules::SCHEMA_RANGE, [&] {
                return filled("%s is %s, below its minimum %s.",
                              {name(), quoted(value), jsonOf(Json::Value(static_cast<int>(*node.minimum)))});
            });
        if (node.maximum && value.asDouble() > *node.maximum)
            return fails(Rules::SCHEMA_RANGE, [&] {
                return filled("%s is %s, above its maximum %s.",
                              {name(), quoted(value), jsonOf(Json::Value(static_cast<int>(*node.maximum)))});
            });
        return true;
    }

    bool judgeForms(const Node& node, const Json::Value& value) {
        bool fits = true;
        if (node.condition) {
            const Node* next = (tryOut(*node.condition, value) ? node.consequence : node.alternative).get();
            fits = next == nullptr || judge(*next, value);
        }
        if (node.excluded && tryOut(*node.excluded, value))
            fits = fails(Rules::SCHEMA_FORM, [&] { return excludedText(node); });
        const auto countFitting = [&](const std::vector<std::unique_ptr<Node>>& nodes) {
            return std::count_if(nodes.begin(), nodes.end(), [&](const auto& one) { return tryOut(*one, value); });
        };
        if (!node.anyOf.empty() && countFitting(node.anyOf) == 0)
            fits = fails(Rules::SCHEMA_FORM, [&] { return neitherText(node); });
        if (!node.oneOf.empty() && countFitting(node.oneOf) != 1)
            fits = fails(Rules::SCHEMA_FORM, [&] { return formText(node); });
        return fits;
    }

    std::string formText(const Node& node) const {
        if (node.description.empty())
            return filled("%s has none of its possible forms.", {name()});
        return filled("%s has none of its possible forms: %s", {name(), node.description});
    }

    std::string excludedText(const Node& node) const {
        if (node.excluded->required.empty())
            return formText(node);
        return filled("%s must not have the member \"%s\" here.", {name(), node.excluded->required.front()});
    }

    std::string neitherText(const Node& node) const {
        Json::Value members(Json::arrayValue);
        for (const auto& one : node.anyOf) {
            if (one->required.size() != 1)
                return formText(node);
            members.append(one->required.front());
        }
        return filled("%s needs the member %s.", {name(), listed(members)});
    }

    bool judgeMembers(const Node& node, const Json::Value& object) {
        bool fits = true;
        for (const std::string& member : node.required) {
            if (!object.isMember(member))
                fits = fails(Rules::SCHEMA_REQUIRED, [&] {
                    return filled("%s needs the member \"%s\".", {name(), member});
                });
        }
        if (!node.additionalProperties) {
            for (const auto& [member, itsNode] : node.properties) {
                if (object.isMember(member))
                    fits = judgeStep(*itsNode, object[member], member) && fits;
            }
            return fits;
        }
        for (auto at = object.begin(); at != object.end() && !isOver(); ++at) {
            const auto known = node.properties.find(at.name());
            fits = judgeStep(known == node.properties.end() ? *node.additionalProperties : *known->second, *at,
                             at.name()) &&
                   fits;
        }
        return fits;
    }

    bool judgeItems(const Node& node, const Json::Value& array) {
        bool fits = true;
        for (Json::ArrayIndex at = 0; at < array.size() && !isOver() && (fits || tries == 0); ++at)
            fits = judgeStep(node, array[at], std::to_string(at)) && fits;
        return fits;
    }

    bool judgeStep(const Node& node, const Json::Value& value, const std::string& step) {
        if (path.empty() && step == without)
            return true;
        path.push_back(step);
        const bool fits = judge(node, value);
        path.pop_back();
        return fits;
    }

    // As in: "properties.temperature.type".
    std::string name() const {
        if (path.empty())
            return filled("The document");
        std::string text;
        for (const std::string& step : path)
            text += (text.empty() ? "" : ".") + shortened(step, LONGEST_QUOTE);
        return "\"" + text + "\"";
    }

    const std::map<std::string, std::unique_ptr<Node>>& definitions;
    const std::size_t most;
    const std::string& without;
    std::size_t tries = 0;
    std::vector<std::string> path;
};

} // namespace

Schema::Schema(const std::string& text) {
    const Json::Value schema = parsedSchema(text);
    definitions = namedNodesOf(schema["$defs"]);
    root = nodeOf(schema);
}

Schema::~Schema() = default;

std::vector<SchemaFault> Schema::faultsOf(const Json::Value& document, std::size_t most,
                                          const std::string& without) const {
    SchemaJudgement judgement(definitions, most, without);
    judgement.judge(*root, document);
    return std::move(judgement.faults);
}

} // namespace Kelvra::SCADA::Tool
