#include "commands/Command.h"

namespace Kelvra::SCADA::Tool {

const std::vector<Command>& commands() {
    static const std::vector<Command> rows = {
        {"list", "list [--storage both|default|custom] [--unused]",
         "Show the definitions: storage, what they hide, decoder, state", declareList, true},
        {"show", "show NAME [PROPERTY]", "Show one definition, or one property of it", declareShow, true},
        {"check", "check [SRC] [--allow-overwrite] [--with-list] [--no-codec]",
         "Find every fault of the storages and of the list, or of an installation source", declareCheck, true},
        {"diff", "diff [NAME | SRC]",
         "Show how custom definitions differ from those that they hide, or a source from what is used now", declareDiff,
         true},
        {"sensors", "sensors [--definition NAME]", "Show the managed sensors and the definitions they use",
         declareSensors, true},
        {"resolve", "resolve [SRC] ID [PROPERTY]",
         "Show one sensor, from its list element to its definition's property", declareResolve, true},
        {"doctor", "doctor [[SRC] ID] [--wait S]",
         "Tell why a sensor shows no data, or whether the device is in order, with the next command to type",
         declareDoctor},
        {"read", "read [SRC] ID [PROPERTY] [--watch] | --all",
         "Show the values of a sensor in the database, judged by its definition", declareRead},
        {"report", "report FILE [--no-codec] [--wait S]",
         "Write the sensors with their values, the definitions, the faults and the history to a page for a browser",
         declareReport, true},
        {"decode", "decode [SRC] ID --port N BYTES|-",
         "Run the decoder of a sensor on the bytes of an uplink, and show or store the values", declareDecode},
        {"install", "install SRC [--allow-overwrite] [--with-list] [--dry-run] [--if-unused] [--no-codec]",
         "Install the definitions of a directory or an archive", declareInstall},
        {"remove", "remove NAME... | --all [--yes] [--if-unused]", "Remove custom definitions", declareRemove},
        {"export", "export FILE", "Write the custom storage and the managed-sensors list to an archive", declareExport},
        {"history", "history", "Show the last operations on the custom storage", declareHistory, true},
        {"rollback", "rollback", "Bring the custom storage back to the state before the last operation",
         declareRollback},
        {"recover", "recover [--forward]", "Undo or complete an operation that was interrupted", declareRecover},
        {"db", "db get|set|expire|push|pop ...", "Read and write the database", declareDb},
        {"watch", "watch [--count N] [--timeout S]", "Print changes of keys as they happen", declareWatch},
    };
    return rows;
}

} // namespace Kelvra::SCADA::Tool
