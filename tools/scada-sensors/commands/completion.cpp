#include "commands/completion.h"

#include "device/Device.h"
#include "text/text.h"

#include <scada/SensorDefinitions.h>

#include <CLI/App.hpp>

#include <algorithm>
#include <set>
#include <utility>

namespace Kelvra::SCADA::Tool {

namespace {

using Words = std::set<std::string>;

// The words that stand between braces in the declaration of an option.
Words choicesOf(const std::string& typeName) {
    const std::size_t begin = typeName.find('{');
    Words choices;
    if (begin == std::string::npos)
        return choices;
    const std::string list = typeName.substr(begin + 1, typeName.find('}') - begin - 1);
    for (std::size_t at = 0; at < list.size();) {
        const std::size_t end = std::min(list.find(',', at), list.size());
        choices.insert(list.substr(at, end - at));
        at = end + 1;
    }
    return choices;
}

Words valuesOf(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    if (type == "DIR")
        return {":directories"};
    if (type == "FILE" || type == "PATH")
        return {":files"};
    return choicesOf(type);
}

Words propertiesOf(Storages& storages, const std::string& name) {
    if (!storages.lists(name))
        return {};
    const Definition definition = storages.directoryFor(name).load(name);
    if (!definition.verdict.valid)
        return {};
    const std::vector<std::string> members =
        definition.document[SensorDefinitions::JSON_PROPERTIES_SECTION].getMemberNames();
    return {members.begin(), members.end()};
}

Words definitionNames(const Storages& storages) {
    Words names = storages.of(STORAGE_DEFAULT).names();
    names.insert(storages.of(STORAGE_CUSTOM).names().begin(), storages.of(STORAGE_CUSTOM).names().end());
    return names;
}

Words wordsOfResolve(Device& device, const std::vector<std::string>& operands) {
    const bool isFirst = operands.empty();
    Words words;
    for (const ListElement& element : device.list().elements()) {
        if (!element.isInForce())
            continue;
        const SensorMapEntry& entry = element.entry;
        const bool isSource = !isFirst && entry.src == normalisedSource(operands[0]);
        const bool isSensor = !isFirst && entry.id == normalisedIdentifier(operands.back());
        if (isFirst)
            words.insert({entry.src, entry.id});
        else if (isSource && operands.size() == 1)
            words.insert(entry.id);
        else if (isSensor && (operands.size() == 1 || isSource))
            words.merge(propertiesOf(device.storages(), element.definitionName()));
    }
    return words;
}

Words wordsOfOperand(const std::string& command, const std::vector<std::string>& operands) {
    Device device;
    if (command == "resolve")
        return operands.size() < 3 ? wordsOfResolve(device, operands) : Words();
    if (command == "remove")
        return device.storages().of(STORAGE_CUSTOM).names();
    if (command == "show" && operands.empty())
        return definitionNames(device.storages());
    if (command == "show" && operands.size() == 1)
        return propertiesOf(device.storages(), operands[0]);
    if ((command == "check" || command == "install") && operands.empty())
        return {":directories"};
    return {};
}

/// The words before the current one, as far as they matter for it.
class Reader {
public:
    explicit Reader(CLI::App& wholeApp) : app(wholeApp), command(&wholeApp) {}

    void read(const std::string& word) {
        if (word == "=")
            return;
        if (waiting != nullptr)
            takeValue(word);
        else if (startsWith(word, "-"))
            waiting = optionThatTakesValue(word);
        else if (CLI::App* inner = findCommand(word))
            command = inner;
        else
            operands.push_back(word);
    }

    Words wordsFor(const std::string& current) const {
        if (waiting != nullptr)
            return valuesOf(*waiting);
        if (startsWith(current, "-"))
            return options();
        Words words;
        for (const CLI::App* inner : std::as_const(*command).get_subcommands({}))
            words.insert(inner->get_name());
        return words.empty() ? wordsOfOperand(command->get_name(), operands) : words;
    }

private:
    CLI::App* findCommand(const std::string& word) const {
        const auto named =
            command->get_subcommands([&word](const CLI::App* inner) { return inner->get_name() == word; });
        return named.empty() ? nullptr : named.front();
    }

    CLI::Option* optionThatTakesValue(const std::string& word) const {
        CLI::Option* option = command->get_option_no_throw(word);
        if (option == nullptr)
            option = app.get_option_no_throw(word);
        return option != nullptr && option->get_items_expected_max() > 0 ? option : nullptr;
    }

    // Directories and files are the ones whose content is offered.
    void takeValue(const std::string& value) {
        try {
            waiting->add_result(value);
            waiting->run_callback();
        } catch (const CLI::Error&) {
            // The command itself will say what is wrong with it.
            waiting->clear();
        }
        waiting = nullptr;
    }

    Words options() const {
        Words words;
        for (const CLI::App* declaring : {static_cast<const CLI::App*>(command), static_cast<const CLI::App*>(&app)}) {
            for (const CLI::Option* option : declaring->get_options()) {
                if (!option->get_lnames().empty() && (option->get_lnames().front() != "version" || command == &app))
                    words.insert("--" + option->get_lnames().front());
            }
        }
        return words;
    }

    CLI::App& app;
    CLI::App* command;
    CLI::Option* waiting = nullptr;
    std::vector<std::string> operands;
};

} // namespace

std::string completionsFor(CLI::App& app, const std::vector<std::string>& words) {
    Reader reader(app);
    for (std::size_t at = 0; at + 1 < words.size(); ++at)
        reader.read(words[at]);
    const std::string current = words.empty() ? "" : words.back();
    std::string lines;
    for (const std::string& word : reader.wordsFor(current == "=" ? "" : current)) {
        if (startsWith(word, ":") || startsWith(word, current == "=" ? "" : current))
            lines += word + "\n";
    }
    return lines;
}

} // namespace Kelvra::SCADA::Tool
