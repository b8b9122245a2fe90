// Reads and parses files one by one: the minimum work that the commands of the host tool are compared with.
//   bare_reader [FILE_OF_PATHS]      one path per line; without the argument the program only starts and ends

#include <json/reader.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <exception>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

// Uses system calls, like the library: a stream would add unnecessary work.
std::string readWhole(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    if (descriptor < 0 || fstat(descriptor, &status) != 0)
        throw std::runtime_error("cannot open " + path);
    std::string text(static_cast<std::size_t>(status.st_size), '\0');
    const ssize_t count = read(descriptor, text.data(), text.size());
    close(descriptor);
    if (count != status.st_size)
        throw std::runtime_error("cannot read " + path);
    return text;
}

void parse(const std::string& path) {
    const std::string text = readWhole(path);
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value document;
    if (!reader->parse(text.data(), text.data() + text.size(), &document, nullptr))
        throw std::runtime_error(path + " is not JSON");
}

void parseAll(const std::string& fileOfPaths) {
    std::ifstream paths(fileOfPaths);
    std::string path;
    while (std::getline(paths, path))
        parse(path);
    if (!paths.eof())
        throw std::runtime_error("cannot read " + fileOfPaths);
}

} // namespace

int main(int argc, char** argv) {
    try {
        if (argc > 1)
            parseAll(argv[1]);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bare_reader: %s\n", error.what());
        return 1;
    }
}
