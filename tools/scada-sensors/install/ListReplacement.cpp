#include "install/ListReplacement.h"

#include "install/tree_copy.h"
#include "text/Descriptor.h"
#include "text/filled.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <stdexcept>

namespace Kelvra::SCADA::Tool {

namespace {

// Hosts may read it, whatever the umask is.
constexpr mode_t MODE_OF_NEW_LIST = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;

void require(bool done, const std::string& file) {
    if (!done)
        throw std::runtime_error(filled("cannot write [%s]: %s", {file, reasonOf(errno)}));
}

} // namespace

ListReplacement::ListReplacement(const PlannedList& planned)
    : list(planned.file), temporary((std::filesystem::path(list).parent_path() / ".scada-put-list").string()) {
    unlink(temporary.c_str());
    try {
        copyContent(planned.copy, temporary);
        // Opened now: later, perhaps only another owner may open it.
        const Descriptor opened{open(temporary.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC)};
        require(opened.isOpen(), temporary);
        if (planned.effect == PlannedList::Effect::REPLACES)
            keepWhatCanBeKept(list, temporary);
        else
            require(fchmod(opened.number(), MODE_OF_NEW_LIST) == 0, temporary);
        require(fsync(opened.number()) == 0, temporary);
    } catch (...) {
        unlink(temporary.c_str());
        throw;
    }
}

ListReplacement::~ListReplacement() {
    if (!temporary.empty())
        unlink(temporary.c_str());
}

std::string ListReplacement::putInPlace() {
    if (rename(temporary.c_str(), list.c_str()) != 0)
        return filled("cannot rename [%s] to [%s]: %s", {temporary, list, reasonOf(errno)});
    temporary.clear();
    try {
        const std::string directory = std::filesystem::path(list).parent_path().string();
        syncDirectory(directory.empty() ? "." : directory);
        return "";
    } catch (const std::exception& e) {
        return e.what();
    }
}

} // namespace Kelvra::SCADA::Tool
