#include <scada/FsNode.h>

#include "fs/directory.h"

#include <kelvra/System.h>

#include <sys/stat.h>

#include <cstdlib>
#include <memory>

namespace Kelvra::SCADA {

namespace {

struct Free {
    void operator()(char* memory) const { std::free(memory); }
};

bool hasMode(const std::string& path, FsNode::Mode wanted) {
    return (FsNode(path).getMode() & wanted) != 0;
}

// The program's own result is not trusted: callers check the file system afterwards.
void run(const std::string& program, const std::vector<std::string>& arguments) {
    std::string output;
    System::execute(program, arguments, output);
}

} // namespace

// NOLINTNEXTLINE(modernize-pass-by-value): the signature is given
FsNode::FsNode(const std::string& nodePath) : path(nodePath) {}

// Tests single bits, not whole types: a block device or a socket counts as a directory.
FsNode::Mode FsNode::getMode() {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0)
        return MODE_NONE;
    if ((status.st_mode & S_IFDIR) != 0)
        return MODE_DIR;
    return (status.st_mode & S_IFREG) != 0 ? MODE_FILE : MODE_OTHER;
}

bool FsNode::realPath(std::string* out) {
    const std::unique_ptr<char, Free> resolved(realpath(path.c_str(), nullptr));
    if (!resolved)
        return false;
    if (out != nullptr)
        out->assign(resolved.get());
    return true;
}

void FsNode::list(std::list<std::string>* out, const std::string& pattern, Mode kinds) {
    if (out == nullptr)
        return;
    out->clear();
    const DirectoryStream directory(opendir(path.c_str()));
    if (!directory)
        return;
    const mode_t types = acceptedTypes(kinds);
    // The stream belongs to this call, so no other thread reads it.
    while (const dirent* entry = readdir(directory.get())) { // NOLINT(concurrency-mt-unsafe)
        if (isEntryAccepted(path, entry->d_name, pattern, types))
            out->emplace_back(entry->d_name);
    }
}

bool FsNode::copyFile(const std::string& src, const std::string& dst) {
    if (!hasMode(src, MODE_FILE))
        return false;
    run("cp", {"-f", src, dst});
    return hasMode(dst, MODE_FILE);
}

bool FsNode::ensureDirExists(const std::string& path) {
    if (hasMode(path, MODE_DIR))
        return true;
    run("mkdir", {"-p", path});
    return hasMode(path, MODE_DIR);
}

bool FsNode::ensureCleanDir(const std::string& path) {
    if (!ensureDirExists(path))
        return false;
    std::string output;
    System::cmd("rm -rf " + path + "/*", output);
    return true;
}

bool FsNode::rmFile(const std::string& path) {
    const Mode mode = FsNode(path).getMode();
    if (mode == MODE_NONE)
        return true;
    if ((mode & MODE_FILE) == 0)
        return false;
    run("rm", {"-f", path});
    return FsNode(path).getMode() == MODE_NONE;
}

} // namespace Kelvra::SCADA
