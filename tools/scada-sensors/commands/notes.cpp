#include "commands/notes.h"

#include "check/list_rules.h"
#include "text/filled.h"
#include "text/library_texts.h"
#include "text/text.h"

namespace Kelvra::SCADA::Tool {

void noteFaultyElements(const ManagedList& list, const Answer& answer) {
    const std::size_t faulty = faultyElements(list);
    if (faulty == 0)
        return;
    const std::string count = std::to_string(faulty);
    const std::string all = counted(list.elements().size(), "list element");
    answer.note(faulty == 1 ? filled("%s of %s is faulty: scada-sensors check", {count, all})
                            : filled("%s of %s are faulty: scada-sensors check", {count, all}));
}

void noteUnreadableStorages(const Storages& storages, const Answer& answer) {
    for (const std::string& dir : storages.unreadable())
        answer.note(filled("the storage [%s] cannot be read: scada-sensors check", {dir}));
}

ExitCode answerNoDefinition(const std::string& name, const Answer& answer, const Json::Value& result) {
    return answerUnusableName(filled(LibraryText::DEFINITION_NOT_FOUND, {name}), answer, result);
}

ExitCode answerUnusableName(const std::string& error, const Answer& answer, const Json::Value& result) {
    const ExitCode code = answer.failed(ExitCode::NOT_FOUND, error, result);
    answer.note(filled("\"scada-sensors list\" shows the definitions"));
    return code;
}

} // namespace Kelvra::SCADA::Tool
