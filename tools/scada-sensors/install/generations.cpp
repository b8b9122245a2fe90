#include "install/generations.h"

#include "device/HiddenDefaults.h"
#include "device/InstalledFiles.h"
#include "device/paths.h"
#include "install/InstalledModes.h"
#include "install/kept_defaults.h"
#include "install/tree_copy.h"
#include "text/Descriptor.h"
#include "text/filled.h"
#include "text/remove_tree.h"
#include "text/text.h"

#include <scada/Env.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

constexpr const char* WORK_PREFIX = "work-";
constexpr const char* KEPT = "/hidden"; // in the work directory

bool exists(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0;
}

std::string parentOf(const std::string& path) {
    return fs::path(path).parent_path().string();
}

// Returns false if the directories cannot be exchanged in one step.
bool exchangeDirectories(const std::string& one, const std::string& other) {
    if (renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE) == 0)
        return true;
    const int error = errno;
    for (const int impossible : {EINVAL, ENOSYS, EBUSY, EXDEV, EOPNOTSUPP}) {
        if (error == impossible)
            return false;
    }
    throw std::runtime_error(filled("cannot exchange [%s] and [%s]: %s", {one, other, reasonOf(error)}));
}

// --- the history

HistoryEntry entryFrom(const std::string& file) {
    const std::vector<HistoryEntry> entries = readHistory(file);
    return entries.empty() ? historyEntryOf("unknown", {}) : entries.front();
}

// The operation is done even if the history cannot record it.
std::string writeHistory(const GenerationPaths& paths, const HistoryEntry& entry) {
    try {
        writeDurably(paths.history, historyWith(readHistory(paths.history), entry));
        return "";
    } catch (const std::exception& e) {
        return filled("the history is not complete: %s", {e.what()});
    }
}

// --- the end of an operation

// Returns whether there was an entry and it is gone. An entry that cannot be removed, because a file in it is
// protected, gets another name and does not block the operation.
bool discard(const GenerationPaths& paths, const std::string& entry) {
    if (!exists(entry))
        return false;
    if (removeTree(entry) == 0)
        return true;
    int number = 1;
    while (exists(paths.discarded + "-" + std::to_string(number)))
        ++number;
    moveEntry(entry, paths.discarded + "-" + std::to_string(number));
    return false;
}

// Makes `former` the previous generation. If an interruption stops this step, the next attempt continues it.
void shiftPrevious(const GenerationPaths& paths, const std::string& former) {
    if (!exists(former))
        return;
    if (exists(paths.previous)) {
        discard(paths, paths.superseded);
        moveEntry(paths.previous, paths.superseded);
    }
    moveEntry(former, paths.previous);
}

std::vector<std::string> discardedIn(const GenerationPaths& paths) {
    std::vector<std::string> found;
    std::error_code error;
    for (fs::directory_iterator at(paths.base, error); !error && at != fs::directory_iterator(); at.increment(error)) {
        if (startsWith(at->path().string(), paths.discarded))
            found.push_back(at->path().string());
    }
    return found;
}

void removeFile(const std::string& file) {
    const int error = removeTree(file);
    if (error != 0)
        throw std::runtime_error(filled("cannot remove [%s]: %s", {file, reasonOf(error)}));
}

// The operation is done, so a failure from here on deserves only a note.
template <typename Step> std::string noteOf(const Step& step, const std::string& note) {
    try {
        step();
        return note;
    } catch (const std::exception& e) {
        return note.empty() ? e.what() : note;
    }
}

// If the mark stays, the next operation repeats all this.
std::string finishExchange(const GenerationPaths& paths) {
    makeDirectory(paths.base);
    shiftPrevious(paths, paths.next);
    takeOverDefaults(paths);
    const std::string note = writeHistory(paths, entryFrom(paths.mark));
    syncDirectory(paths.base);
    return noteOf(
        [&paths] {
            discard(paths, paths.superseded);
            forgetDefaults(paths);
            removeFile(paths.mark);
            syncDirectory(paths.custom);
        },
        note);
}

// As long as the journal exists, a recovery needs the new generation.
std::string finishInPlace(const GenerationPaths& paths) {
    shiftPrevious(paths, paths.saved);
    takeOverDefaults(paths);
    const HistoryEntry entry = entryFrom(paths.journal);
    syncDirectory(paths.base);
    removeFile(paths.journal);
    return noteOf(
        [&paths] {
            syncDirectory(paths.base);
            discard(paths, paths.next);
            discard(paths, paths.superseded);
            forgetDefaults(paths);
        },
        writeHistory(paths, entry));
}

void bringCustomTo(const GenerationPaths& paths, const std::string& generation) {
    mirrorTree(generation, paths.custom);
    syncFileSystem(paths.custom);
}

void save(const GenerationPaths& paths) {
    discard(paths, paths.saved);
    if (exists(paths.custom))
        linkTree(paths.custom, paths.saved);
    else
        makeDirectory(paths.saved);
    syncFileSystem(paths.saved);
}

std::string writeInPlace(const GenerationPaths& paths, const HistoryEntry& entry) {
    writeDurably(paths.journal, historyLine(entry));
    try {
        bringCustomTo(paths, paths.next);
    } catch (...) {
        recoverBack(paths);
        throw;
    }
    return finishInPlace(paths);
}

// A missing storage is created like one that an installation makes.
void makeCustom(const GenerationPaths& paths, const std::string& directory) {
    makeDirectory(directory);
    const std::string failure = inheritMode(directory, parentOf(paths.custom));
    if (!failure.empty())
        throw std::runtime_error(failure);
}

} // namespace

Leftovers settle(const GenerationPaths& paths) {
    if (isInterrupted(paths))
        return Leftovers::INTERRUPTED;
    if (isUnfinished(paths)) {
        finishExchange(paths);
        return Leftovers::FINISHED;
    }
    bool removed = false;
    for (const std::string& entry : {paths.next, paths.saved, paths.hiddenNext, paths.hiddenFormer})
        removed = discard(paths, entry) || removed;
    for (const std::string& entry : leftoversIn(paths.base, WORK_PREFIX))
        removed = removeTree(entry) == 0 || removed;
    discard(paths, paths.superseded);
    // The reason why they could not be removed may be gone now.
    for (const std::string& entry : discardedIn(paths))
        removeTree(entry);
    return removed ? Leftovers::DISCARDED : Leftovers::NONE;
}

bool isEmpty(const GenerationPaths& paths) {
    return !exists(paths.custom) || hasNothingToCopy(paths.custom);
}

// Without a saved state it has already become the previous generation. Each step can be interrupted and repeated.
void recoverBack(const GenerationPaths& paths) {
    if (!exists(paths.saved))
        moveEntry(paths.previous, paths.saved);
    bringCustomTo(paths, paths.saved);
    if (!exists(paths.previous) && exists(paths.superseded))
        moveEntry(paths.superseded, paths.previous);
    syncDirectory(paths.base);
    removeFile(paths.journal);
    settle(paths);
    writeHistory(paths, historyEntryOf("recover", {}));
}

std::string recoverForward(const GenerationPaths& paths) {
    bringCustomTo(paths, paths.next);
    return finishInPlace(paths);
}

std::string renewDefaults(const std::map<std::string, InstalledFiles>& definitions) {
    const GenerationPaths paths = GenerationPaths::ofDevice();
    if (definitions.empty() || isInterrupted(paths) || isUnfinished(paths))
        return "";
    makeDirectory(paths.base);
    removeFile(paths.hiddenNext);
    makeDirectory(paths.hiddenNext);
    std::vector<HistoryChange> changes;
    for (const auto& [name, files] : definitions) {
        const std::string hides = Tool::keepDefault(paths.hiddenNext, name, files);
        changes.push_back({"installed", name, contentHash(files), hides});
    }
    // A power cut could leave empty files instead.
    syncFileSystem(paths.hiddenNext);
    takeOverDefaults(paths);
    std::string note = writeHistory(paths, historyEntryOf("install", changes));
    // An interruption before this step leaves the definition as gone, so that the next installation notes it again.
    for (const HistoryChange& change : changes) {
        if (change.hides.empty())
            forgetDefault(paths, hiddenEntry(change.name, definitions.at(change.name)));
    }
    return note;
}

NextGeneration::NextGeneration(Start start) : NextGeneration(GenerationPaths::ofDevice().custom, start) {}

NextGeneration::NextGeneration(const std::string& source) : NextGeneration(source, Start::COPY) {}

NextGeneration::NextGeneration(const std::string& source, Start start)
    : places(GenerationPaths::ofDevice()), configured(Env::inst().conf().getDfnCustomDir()) {
    if (settle(places) == Leftovers::INTERRUPTED)
        throw std::runtime_error(filled("an operation was interrupted; run: scada-sensors recover"));
    makeDirectory(places.base);
    work = std::make_unique<PrivateDirectory>(places.base, WORK_PREFIX);
    tree = work->path() + "/custom";
    if (!exists(source))
        makeCustom(places, tree);
    else if (start == Start::EMPTY)
        makeEmptyLike(source, tree);
    else
        linkTree(source, tree);
    Env::inst().conf().setDfnCustomDir(tree);
}

// Everything that a recovery needs must stay.
NextGeneration::~NextGeneration() {
    restoreEnv();
    if (isInterrupted(places) || isUnfinished(places))
        return;
    removeTree(places.next);
    removeTree(places.hiddenNext);
}

void NextGeneration::restoreEnv() const {
    Env::inst().conf().setDfnCustomDir(configured);
}

void NextGeneration::makeRoomFor(const std::string& name) const {
    for (const std::string& file : {definitionFile(tree, name), installedDecoder(tree, name)}) {
        if (unlink(file.c_str()) != 0 && errno != ENOENT && errno != ENOTDIR)
            throw std::runtime_error(filled("cannot remove [%s]: %s", {file, reasonOf(errno)}));
    }
}

std::string NextGeneration::keepDefault(const std::string& name, const InstalledFiles& installed) const {
    const std::string kept = work->path() + KEPT;
    makeDirectory(kept);
    return Tool::keepDefault(kept, name, installed);
}

std::string NextGeneration::putInPlace(const HistoryEntry& entry, const std::function<void()>& begin) {
    restoreEnv();
    moveEntry(tree, places.next);
    if (exists(work->path() + KEPT))
        moveEntry(work->path() + KEPT, places.hiddenNext);
    work.reset();
    const bool exchangeable = whyNotExchangeable(places.custom).empty();
    const std::string mark = places.next + GenerationPaths::MARK;
    if (exchangeable)
        writeDurably(mark, historyLine(entry));
    else
        save(places);
    syncFileSystem(places.next);
    begin();
    if (!exists(places.custom))
        makeCustom(places, places.custom);
    if (exchangeable && exchangeDirectories(places.next, places.custom)) {
        syncDirectory(parentOf(places.custom));
        return finishExchange(places);
    }
    if (exchangeable) {
        unlink(mark.c_str());
        save(places);
    }
    return writeInPlace(places, entry);
}

} // namespace Kelvra::SCADA::Tool
