#include "commands/notes.h"

#include "check/list_rules.h"
#include "text/filled.h"
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

} // namespace Kelvra::SCADA::Tool
