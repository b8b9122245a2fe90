#include "trace.h"

#include "files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace Kelvra::SCADA::Test {

namespace {

namespace fs = std::filesystem;

constexpr mode_t ALL_BITS = 07777;

struct stat statusOf(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0)
        throw std::runtime_error("cannot look at " + path);
    return status;
}

void require(bool holds, const std::string& what) {
    if (!holds)
        throw std::runtime_error("cannot " + what);
}

std::string field(std::istream* in) {
    std::string text;
    require(!std::getline(*in, text, '\0').fail(), "read the trace to its end");
    return text;
}

template <typename Number> Number number(std::istream* in) {
    return static_cast<Number>(std::stoul(field(in)));
}

std::string relative(const std::string& path, const std::string& directory) {
    require(path.compare(0, directory.size() + 1, directory + "/") == 0, "trace " + path + ", which is elsewhere");
    return path.substr(directory.size() + 1);
}

Change readChange(std::istream* in, const std::string& directory) {
    Change change;
    change.hasSaid = !field(in).empty();
    change.kind = field(in);
    const std::string path = field(in);
    if (change.kind != "syncfs")
        change.path = relative(path, directory);
    if (change.kind == "entry") {
        change.mode = number<mode_t>(in);
        change.owner = number<uid_t>(in);
        change.group = number<gid_t>(in);
    } else if (change.kind == "rename" || change.kind == "exchange" || change.kind == "link") {
        change.other = relative(field(in), directory);
    }
    change.content.resize(number<std::size_t>(in));
    in->read(change.content.data(), static_cast<std::streamsize>(change.content.size()));
    return change;
}

std::string remaining(const std::string& content, Unsynced unsynced) {
    switch (unsynced) {
    case Unsynced::KEPT:
        return content;
    case Unsynced::HALF:
        return content.substr(0, content.size() / 2);
    case Unsynced::ZEROED:
        // NOLINTNEXTLINE(modernize-return-braced-init-list): it would hold two letters
        return std::string(content.size(), '\0');
    case Unsynced::LOST:
        break;
    }
    return "";
}

} // namespace

std::vector<Change> readTrace(const std::string& file, const std::string& directory) {
    std::vector<Change> changes;
    std::istringstream in(readFile(file));
    while (in.peek() != std::istringstream::traits_type::eof())
        changes.push_back(readChange(&in, directory));
    return changes;
}

ModelOfDisk::ModelOfDisk(const std::string& directory) {
    std::map<ino_t, NodePointer> seen;
    root = read(directory, &seen);
}

ModelOfDisk::NodePointer ModelOfDisk::read(const std::string& path, std::map<ino_t, NodePointer>* seen) {
    const struct stat status = statusOf(path);
    NodePointer& node = (*seen)[status.st_ino];
    if (node != nullptr)
        return node;
    node = std::make_shared<Node>();
    NodePointer made = node;
    made->mode = status.st_mode;
    made->owner = status.st_uid;
    made->group = status.st_gid;
    if (S_ISREG(status.st_mode))
        made->content = readFile(path);
    if (S_ISLNK(status.st_mode))
        made->content = fs::read_symlink(path).string();
    if (S_ISDIR(status.st_mode)) {
        for (const fs::directory_entry& entry : fs::directory_iterator(path))
            made->entries[entry.path().filename().string()] = read(entry.path().string(), seen);
    }
    return made;
}

// Returns the place of an existing or new entry.
ModelOfDisk::NodePointer& ModelOfDisk::slot(const std::string& path) {
    NodePointer* at = &root;
    for (const fs::path& part : fs::path(path)) {
        require(*at != nullptr && S_ISDIR((*at)->mode), "find " + path);
        if (!part.empty() && part != ".")
            at = &(*at)->entries[part.string()];
    }
    return *at;
}

void ModelOfDisk::change(const Change& change) {
    NodePointer& node = slot(change.path);
    if (node == nullptr)
        node = std::make_shared<Node>();
    node->mode = change.mode;
    node->owner = change.owner;
    node->group = change.group;
    if (S_ISREG(change.mode) && node->content != change.content)
        node->isSynced = false;
    node->content = change.content;
}

void ModelOfDisk::syncAll(Node* node) {
    node->isSynced = true;
    for (const auto& [name, entry] : node->entries) {
        if (entry != nullptr)
            syncAll(entry.get());
    }
}

void ModelOfDisk::apply(const Change& one) {
    if (one.kind == "entry") {
        change(one);
        return;
    }
    NodePointer& node = slot(one.path);
    require(node != nullptr, one.kind + " " + one.path);
    if (one.kind == "sync")
        node->isSynced = true;
    else if (one.kind == "syncfs")
        syncAll(node.get());
    else if (one.kind == "remove")
        node.reset();
    else if (one.kind == "link")
        slot(one.other) = node;
    else if (one.kind == "exchange")
        std::swap(node, slot(one.other));
    else if (one.kind == "rename")
        slot(one.other) = std::exchange(node, nullptr);
    else
        require(false, one.kind);
}

// Sets attributes last, so that they do not prevent other changes.
void ModelOfDisk::lay(const Node& node, const std::string& path, Unsynced unsynced, Laid* laid) {
    const auto former = laid->find(&node);
    if (former != laid->end()) {
        fs::create_hard_link(former->second, path);
        return;
    }
    (*laid)[&node] = path;
    if (S_ISLNK(node.mode)) {
        makeLink(node.content, path);
    } else if (S_ISREG(node.mode)) {
        writeFile(path, node.isSynced ? node.content : remaining(node.content, unsynced));
    } else {
        require(S_ISDIR(node.mode), "make " + path + " anew");
        makeDir(path);
        for (const auto& [name, entry] : node.entries) {
            if (entry != nullptr)
                lay(*entry, path + "/" + name, unsynced, laid);
        }
    }
    require(lchown(path.c_str(), node.owner, node.group) == 0, "give away " + path);
    if (!S_ISLNK(node.mode))
        require(chmod(path.c_str(), node.mode & ALL_BITS) == 0, "give its mode to " + path);
}

void ModelOfDisk::layAfterCut(const std::string& directory, Unsynced unsynced) const {
    for (const fs::directory_entry& entry : fs::directory_iterator(directory))
        fs::remove_all(entry.path());
    Laid laid;
    lay(*root, directory, unsynced, &laid);
}

} // namespace Kelvra::SCADA::Test
