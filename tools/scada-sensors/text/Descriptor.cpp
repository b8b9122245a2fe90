#include "text/Descriptor.h"

#include "text/filled.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace Kelvra::SCADA::Tool {

Descriptor::~Descriptor() {
    if (descriptor >= 0)
        close(descriptor);
}

Descriptor::Descriptor(Descriptor&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    std::swap(descriptor, other.descriptor);
    return *this;
}

std::string reasonOf(int error) {
    return std::generic_category().message(error);
}

Descriptor openRegularFile(const std::string& file, std::string* failure) {
    Descriptor opened{open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)};
    std::string reason;
    struct stat status {};
    if (!opened.isOpen() || fstat(opened.number(), &status) != 0)
        reason = reasonOf(errno);
    else if (S_ISDIR(status.st_mode))
        reason = reasonOf(EISDIR);
    else if (!S_ISREG(status.st_mode))
        reason = filled("It is not a regular file.");
    if (failure != nullptr)
        *failure = reason;
    return reason.empty() ? std::move(opened) : Descriptor();
}

std::string readRegularFile(const std::string& file, std::string* text) {
    std::string failure;
    const Descriptor opened = openRegularFile(file, &failure);
    if (!opened.isOpen())
        return failure;
    constexpr off_t LONGEST_RESERVED = 64L * 1024 * 1024;
    struct stat status {};
    text->clear();
    if (fstat(opened.number(), &status) == 0)
        text->reserve(static_cast<std::size_t>(std::clamp<off_t>(status.st_size, 0, LONGEST_RESERVED)));
    std::array<char, 16384> chunk;
    for (;;) {
        const ssize_t count = read(opened.number(), chunk.data(), chunk.size());
        if (count > 0)
            text->append(chunk.data(), static_cast<std::size_t>(count));
        else if (count == 0)
            return "";
        else if (errno != EINTR)
            return reasonOf(errno);
    }
}

int writeWhole(int descriptor, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t written = write(descriptor, data, size);
        if (written < 0 && errno != EINTR)
            return errno;
        data += std::max<ssize_t>(written, 0);
        size -= static_cast<std::size_t>(std::max<ssize_t>(written, 0));
    }
    return 0;
}

} // namespace Kelvra::SCADA::Tool
