#include "OpenCounter.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace Kelvra::SCADA::Test {

namespace fs = std::filesystem;

namespace {

// The kernel merges equal successive events. Two openings of the same file are separated by reading and closing.
constexpr std::uint32_t EVENTS = IN_OPEN | IN_ACCESS | IN_CLOSE;

} // namespace

OpenCounter::OpenCounter(const std::string& root) : queue(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    watch(root);
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
        if (entry.is_directory() && !entry.is_symlink())
            watch(entry.path().string());
    }
    take(); // drops the events of this search
}

OpenCounter::~OpenCounter() {
    close(queue);
}

void OpenCounter::watch(const std::string& dir) {
    const int descriptor = inotify_add_watch(queue, dir.c_str(), EVENTS | IN_ONLYDIR);
    if (descriptor < 0)
        throw std::runtime_error("cannot watch " + dir);
    directories[descriptor] = dir;
}

std::map<std::string, int> OpenCounter::take() {
    std::map<std::string, int> openings;
    std::array<char, 65536> buffer{};
    for (;;) {
        const ssize_t count = read(queue, buffer.data(), buffer.size());
        if (count < 0 && errno == EAGAIN)
            return openings;
        if (count <= 0)
            throw std::runtime_error("cannot read what has been opened");
        for (std::size_t at = 0; at < static_cast<std::size_t>(count);) {
            inotify_event event{};
            std::memcpy(&event, &buffer[at], sizeof event);
            at += sizeof event;
            if ((event.mask & IN_Q_OVERFLOW) != 0)
                throw std::runtime_error("more has been opened than the kernel keeps");
            if ((event.mask & IN_OPEN) != 0 && (event.mask & IN_ISDIR) == 0)
                ++openings[directories.at(event.wd) + "/" + &buffer[at]];
            at += event.len;
        }
    }
}

} // namespace Kelvra::SCADA::Test
