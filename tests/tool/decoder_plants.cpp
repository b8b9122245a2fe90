#include "decoder_plants.h"

#include <sys/stat.h>

namespace Kelvra::SCADA::Test {

namespace {

constexpr const char* PROPERTY = R"({"t": {"type": "float", "max": 10}})";
constexpr const char* EXAMPLE = R"([{"input": {"fPort": 1, "bytes": "00"}, "output": {"data": {"t": 1}}}])";

struct Case {
    std::string storage;
    std::string properties = PROPERTY;
    std::string examples = EXAMPLE;
    std::string loaded = LOADED_DECODER;
    std::string result = R"({"value": {"data": {"t": 1}}})";
};

std::function<void(const std::string&)> planted(const Case& from) {
    return [from](const std::string& dir) {
        writeFile(dir + "/" + from.storage + "/lora/demo/th1.json", R"({"decoder": "th1.js", "properties": )" +
                                                                        from.properties + R"(, "examples": )" +
                                                                        from.examples + "}");
        writeRunner(dir, from.loaded, from.result);
    };
}

std::string notLoaded(const std::string& exception) {
    return R"({"version": 1, "engine": "fake 1", "loaded": false, "entryPoint": null, "results": [], "exception": )" +
           exception + "}";
}

/// Makes rows for one storage.
class Rows {
public:
    explicit Rows(std::string dir) : storage(std::move(dir)) {}

    void addLoading(const char* name, const std::string& loaded, const char* rule) {
        Case one{storage};
        one.loaded = loaded;
        add(name, one, {rule});
    }
    void addResult(const char* name, const std::string& result, const std::vector<std::string>& rules) {
        Case one{storage};
        one.result = result;
        add(name, one, rules);
    }
    void addExamples(const char* name, const std::string& examples, const std::string& result, const char* rule) {
        Case one{storage};
        one.examples = examples;
        one.result = result;
        add(name, one, {rule});
    }
    void addProperties(const char* name, const std::string& properties, const char* rule) {
        Case one{storage};
        one.properties = properties;
        add(name, one, {rule});
    }
    void add(const char* name, const Case& one, const std::vector<std::string>& rules) {
        rows.push_back({name, planted(one), rules, {"--codec-runner", "$T/runner"}});
    }

    std::string storage;
    std::vector<Plant> rows;
};

} // namespace

void writeRunnerScript(const std::string& dir, const std::string& script) {
    const std::string file = dir + "/runner";
    writeFile(file, "#!/bin/sh\n" + script);
    chmod(file.c_str(), 0755);
    chmod(dir.c_str(), 0755);
}

void writeRunner(const std::string& dir, const std::string& loaded, const std::string& result) {
    const std::string answer = result.empty() ? "exit 0" : "echo '{\"results\": [" + result + "]}'";
    writeRunnerScript(dir, "read -r line\necho '" + loaded + "'\nwhile read -r line; do\n" + answer + "\ndone\n");
}

std::vector<Plant> faultyDecoders(const std::string& storage) {
    Rows rows(storage);
    rows.addLoading("runner_that_loads_nothing", "{}", "codec/runner-fault");
    rows.addLoading("decoder_that_does_not_load", notLoaded(R"({"text": "SyntaxError: x", "line": 2, "column": 3})"),
                    "codec/does-not-load");
    rows.addLoading("decoder_that_asks_while_it_loads", notLoaded(R"({"text": "x", "line": 2, "missing": "require"})"),
                    "codec/not-offered");
    rows.addLoading("no_entry_point",
                    R"({"version": 1, "engine": "f", "loaded": true, "entryPoint": null, "results": []})",
                    "codec/no-entry-point");
    rows.addResult("runner_that_ends", "", {"codec/runner-fault"});
    rows.addResult("result_that_is_a_number", R"({"value": 5})", {"codec/bad-result"});
    rows.addResult("other_value", R"({"value": {"data": {"t": 2}}})", {"codec/example-differs"});
    rows.addResult("exception", R"({"exception": {"text": "Error: x", "line": 4}})", {"codec/threw"});
    rows.addResult("over_the_limit", R"({"limit": "output"})", {"codec/over-limit"});
    rows.addResult("text_for_a_number", R"({"value": {"data": {"t": "1"}}})",
                   {"codec/example-differs", "codec/value-type"});
    rows.addResult("not_a_number",
                   R"({"value": {"data": {"t": null}}, "special": [{"path": ["data", "t"], "kind": "NaN"}]})",
                   {"codec/value-special"});
    rows.addExamples("no_exception", R"([{"input": {"fPort": 1, "bytes": []}, "throws": true}])",
                     R"({"value": {"data": {"t": 1}}})", "codec/should-throw");
    rows.addExamples("example_without_input", R"([{"output": {"data": {}}}])", R"({"value": 5})", "codec/bad-example");
    return rows.rows;
}

std::vector<Plant> notedDecoders(const std::string& storage) {
    Rows rows(storage);
    rows.addResult("sound_decoder", R"({"value": {"data": {"t": 1}}})", {});
    rows.addLoading("newer_javascript", notLoaded(R"({"text": "SyntaxError: x", "line": 2, "newer": "=>"})"),
                    "codec/needs-newer");
    rows.addExamples("above_the_maximum", R"([{"input": {"fPort": 1, "bytes": []}, "output": {"data": {"t": 11}}}])",
                     R"({"value": {"data": {"t": 11}}})", "codec/out-of-range");
    rows.addProperties("undeclared_value", "{}", "codec/undeclared");
    rows.addProperties("property_without_a_value", R"({"t": {}, "u": {}})", "codec/never-seen");
    rows.add("no_runner", Case{storage}, {"codec/no-runner"});
    rows.rows.back().options = {"--codec-runner", "$T/none"};
    return rows.rows;
}

} // namespace Kelvra::SCADA::Test
