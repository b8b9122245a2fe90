#include "install/planned_list.h"

#include "check/list_rules.h"
#include "device/GenerationPaths.h"
#include "device/ManagedList.h"
#include "device/paths.h"
#include "device/user_name.h"
#include "install/export_archive.h"
#include "install/untrusted_directories.h"
#include "text/Descriptor.h"
#include "text/JsonWeight.h"
#include "text/digest.h"
#include "text/filled.h"
#include "text/text.h"

#include <scada/Env.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <map>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

// With fewer values, the reader stays within the memory that a source may take.
constexpr std::size_t MOST_LIST_VALUES = 100000;

std::string pathOfList(const SourceCopy& source) {
    return source.dir + "/" + EXPORTED_LIST;
}

std::string directoryOfList(const std::string& list) {
    const std::string directory = std::filesystem::path(list).parent_path().string();
    return directory.empty() ? "." : directory;
}

// A list in the custom storage would be exchanged together with it.
bool isInCustom(const std::string& list) {
    const GenerationPaths paths = GenerationPaths::ofDevice();
    const std::string file = canonicalPath(list);
    return startsWith(file, canonicalPath(paths.custom) + "/") || startsWith(file, canonicalPath(paths.base) + "/");
}

// A link is not replaced: somebody made it because the list should be elsewhere.
std::string reasonOfEntry(const std::string& list) {
    struct stat status {};
    if (lstat(list.c_str(), &status) != 0)
        return errno == ENOENT ? "" : reasonOf(errno);
    if (S_ISLNK(status.st_mode))
        return filled("it is a symbolic link");
    if (!S_ISREG(status.st_mode))
        return filled("it is not a regular file");
    if (status.st_uid != geteuid() && geteuid() != 0)
        return filled("it belongs to the user [%s]", {userName(status.st_uid)});
    return "";
}

std::string whyNotReplaceable(const std::string& list) {
    if (list.empty())
        return filled("its path is empty");
    if (isInCustom(list))
        return filled("it is in the custom storage");
    std::string reason = reasonOfEntry(list);
    const std::string directory = directoryOfList(list);
    if (!reason.empty() || faccessat(AT_FDCWD, directory.c_str(), W_OK | X_OK, AT_EACCESS) == 0)
        return reason;
    return filled("[%s] cannot be written: %s", {directory, reasonOf(errno)});
}

Findings listBlockers(const std::string& list) {
    const std::string reason = whyNotReplaceable(list);
    if (!reason.empty())
        return {{Rules::INSTALL_LIST_BLOCKED,
                 {list},
                 filled("The managed-sensors list cannot be replaced: %s.", {reason})}};
    return untrustedDirectory("The directory of --map", directoryOfList(list));
}

// The reasons why the list cannot be read at all.
Findings unusableList(const SourceCopy& source) {
    const std::string file = pathOfList(source);
    if (!hasList(source))
        return {{Rules::SOURCE_NO_LIST, {file}, filled("The source has no managed-sensors list as a regular file.")}};
    if (!source.oversize(file).empty())
        return {{Rules::SOURCE_TOO_LARGE,
                 {file},
                 filled("The managed-sensors list is larger than the limit of a decoder.")}};
    std::string text;
    readRegularFile(file, &text);
    JsonWeight weight;
    weight.add(text.data(), text.size());
    if (weight.values() > MOST_LIST_VALUES)
        return {{Rules::SOURCE_TOO_LARGE,
                 {file},
                 filled("The managed-sensors list has more than %s values.", {std::to_string(MOST_LIST_VALUES)})}};
    return {};
}

// The library skips faulty elements, so a list that has some is as good as it was on the device that exported it.
Findings tolerated(Findings findings, bool isUsable) {
    static std::map<const Rule*, Rule> warnings;
    for (Finding& finding : findings) {
        if (isUsable)
            finding.rule = &warnings.insert({finding.rule, {finding.rule->id, Severity::WARNING, finding.rule->remedy}})
                                .first->second;
    }
    return findings;
}

} // namespace

const char* wordOf(PlannedList::Effect effect) {
    if (effect == PlannedList::Effect::UNCHANGED)
        return "unchanged";
    return effect == PlannedList::Effect::REPLACES ? "replaces" : "new";
}

bool hasList(const SourceCopy& source) {
    std::error_code error;
    return source.special.count(EXPORTED_LIST) == 0 &&
           std::filesystem::is_regular_file(std::filesystem::symlink_status(pathOfList(source), error));
}

Findings examineList(const SourceCopy& source, const std::set<std::string>& definitions, Storages& storages,
                     PlannedList* planned) {
    planned->copy = pathOfList(source);
    planned->file = Env::inst().conf().getSensorMapFile();
    Findings findings = unusableList(source);
    if (!findings.empty())
        return findings;
    struct stat status {};
    if (lstat(planned->file.c_str(), &status) == 0)
        planned->effect = PlannedList::Effect::REPLACES;
    if (digestOfFile(planned->file) == digestOfFile(planned->copy))
        planned->effect = PlannedList::Effect::UNCHANGED;
    else
        append(listBlockers(planned->file), &findings);
    const ManagedList list(planned->copy, source.pathInSource(planned->copy));
    append(tolerated(checkListWith(definitions, list, storages, MOST_FINDINGS), list.isUsable()), &findings);
    return findings;
}

} // namespace Kelvra::SCADA::Tool
