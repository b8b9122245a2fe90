#include "files.h"

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace Kelvra::SCADA::Test {

namespace fs = std::filesystem;

namespace {

void require(bool done, const std::string& path) {
    if (!done)
        throw std::runtime_error("cannot make or read " + path);
}

void makeParents(const std::string& path) {
    const fs::path parent = fs::path(path).parent_path();
    if (!parent.empty())
        fs::create_directories(parent);
}

std::string contentOf(const fs::path& path) {
    if (fs::is_symlink(fs::symlink_status(path)))
        return "-> " + fs::read_symlink(path).string();
    return fs::is_regular_file(fs::symlink_status(path)) ? readFile(path.string()) : std::string();
}

} // namespace

void writeFile(const std::string& path, const std::string& text) {
    makeParents(path);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
    require(file.good(), path);
}

std::string readFile(const std::string& path) {
    const std::ifstream file(path, std::ios::binary);
    require(file.is_open(), path);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

void makeDir(const std::string& path) {
    fs::create_directories(path);
}

void makeLink(const std::string& target, const std::string& path) {
    makeParents(path);
    fs::create_symlink(target, path);
}

void makeFifo(const std::string& path) {
    makeParents(path);
    require(mkfifo(path.c_str(), S_IRUSR | S_IWUSR) == 0, path);
}

void makeSocket(const std::string& path) {
    makeParents(path);
    require(mknod(path.c_str(), S_IFSOCK | S_IRUSR | S_IWUSR, 0) == 0, path);
}

std::set<std::string> treeOf(const std::string& path) {
    std::set<std::string> paths;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path))
        paths.insert(entry.path().lexically_relative(path).string());
    return paths;
}

std::map<std::string, std::string> snapshot(const std::string& path) {
    std::map<std::string, std::string> contents;
    for (const std::string& relative : treeOf(path))
        contents[relative] = contentOf(fs::path(path) / relative);
    return contents;
}

} // namespace Kelvra::SCADA::Test
