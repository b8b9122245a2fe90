#include "commands/completion.h"

#include "answer/printable.h"
#include "commands/options.h"
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

constexpr const char* WORDS = "words";
constexpr const char* DIRECTORIES = "directories";
constexpr const char* FILES = "files";

struct Offer {
    const char* kind; ///< the shell offers paths
    Words words;
};

// Returns the words between braces in the declaration of an option.
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

Offer valuesOf(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    if (type == "DIR")
        return {DIRECTORIES, {}};
    if (type == "FILE" || type == "PATH" || type == "PROGRAM")
        return {FILES, {}};
    return {WORDS, choicesOf(type)};
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

Words hidingNames(const Storages& storages) {
    Words names;
    for (const std::string& name : storages.of(STORAGE_CUSTOM).names()) {
        if (storages.isHiding(name))
            names.insert(name);
    }
    return names;
}

Words wordsOfResolve(Device& device, const std::vector<std::string>& operands) {
    const bool isFirst = operands.empty();
    Words words;
    Words definitions;
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
            definitions.insert(element.definitionName());
    }
    for (const std::string& name : definitions)
        words.merge(propertiesOf(device.storages(), name));
    return words;
}

Words wordsOfSensor(const ManagedList& list, const std::vector<std::string>& operands) {
    Words words;
    for (const ListElement& element : list.elements()) {
        if (!element.isInForce())
            continue;
        if (operands.empty())
            words.insert({element.entry.src, element.entry.id});
        else if (element.entry.src == normalisedSource(operands[0]))
            words.insert(element.entry.id);
    }
    return words;
}

// Returns the names on the device that the operands of a command can have.
Words wordsOfOperand(const std::string& command, const std::vector<std::string>& operands) {
    Device device;
    if (command == "resolve" || command == "read")
        return operands.size() < 3 ? wordsOfResolve(device, operands) : Words();
    if (command == "decode" || command == "doctor")
        return operands.size() < 2 ? wordsOfSensor(device.list(), operands) : Words();
    if (command == "remove")
        return device.storages().of(STORAGE_CUSTOM).names();
    if (command == "diff" && operands.empty())
        return hidingNames(device.storages());
    if (command == "show" && operands.empty())
        return definitionNames(device.storages());
    if (command == "show" && operands.size() == 1)
        return propertiesOf(device.storages(), operands[0]);
    return {};
}

/// The words before the current one, as far as they matter for it.
class CompletionContext {
public:
    explicit CompletionContext(CLI::App& wholeApp) : app(wholeApp), command(&wholeApp) {}

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

    Offer offerFor(const std::string& current) const {
        enterAskedImage(app);
        if (waiting != nullptr)
            return valuesOf(*waiting);
        if (startsWith(current, "-"))
            return {WORDS, options()};
        Words words;
        for (const CLI::App* inner : std::as_const(*command).get_subcommands({}))
            words.insert(inner->get_name());
        if (!words.empty())
            return {WORDS, words};
        const std::string name = command->get_name();
        if ((name == "check" || name == "install") && operands.empty())
            return {DIRECTORIES, {}};
        if ((name == "report" || name == "export") && operands.empty())
            return {FILES, {}};
        return {WORDS, wordsOfOperand(name, operands)};
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

    // The directories and files given as values are those whose content is offered.
    void takeValue(const std::string& value) {
        try {
            waiting->add_result(value);
            waiting->run_callback();
        } catch (const CLI::Error&) {
            // The command itself will report the fault of the value.
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
    CompletionContext context(app);
    for (std::size_t at = 0; at + 1 < words.size(); ++at)
        context.read(words[at]);
    std::string current = words.empty() ? "" : words.back();
    if (current == "=")
        current.clear();
    const Offer offer = context.offerFor(current);
    std::string lines = offer.kind + std::string("\n");
    for (const std::string& word : offer.words) {
        // A word that cannot be shown unchanged cannot be offered: the shell would write it to the terminal.
        if (startsWith(word, current) && printable(word) == word)
            lines += word + "\n";
    }
    return lines;
}

} // namespace Kelvra::SCADA::Tool
