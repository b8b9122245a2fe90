#include "fs/json_file.h"

#include <json/reader.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <new>

namespace Kelvra::SCADA {

namespace {

struct File {
    int descriptor;
    explicit File(int openDescriptor) : descriptor(openDescriptor) {}
    ~File() {
        if (descriptor >= 0)
            close(descriptor);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
};

// Reserves room for the whole file at once. A size beyond that of any string counts as a failed allocation.
void reserveFor(off_t size, std::string* text) {
    if (static_cast<unsigned long long>(size) > text->max_size())
        throw std::bad_alloc();
    text->reserve(static_cast<std::size_t>(size));
}

} // namespace

// A directory can be opened like a file but not read: it counts as an empty file. A read that fails half-way gives the
// part before.
bool readFile(const std::string& path, std::string* text) {
    const File file{open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    if (file.descriptor < 0)
        return false;
    text->clear();
    struct stat status {};
    if (fstat(file.descriptor, &status) == 0 && S_ISREG(status.st_mode))
        reserveFor(status.st_size, text);
    std::array<char, 16384> chunk;
    for (;;) {
        const ssize_t count = read(file.descriptor, chunk.data(), chunk.size());
        if (count > 0)
            text->append(chunk.data(), static_cast<std::size_t>(count));
        else if (count == 0 || errno != EINTR)
            return true;
    }
}

// The text must be NUL-terminated, as a std::string is: the reader reads one byte past the end.
bool parseJson(const std::string& text, Json::Value* root, std::string* errors) {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    return reader->parse(text.data(), text.data() + text.size(), root, errors);
}

} // namespace Kelvra::SCADA
