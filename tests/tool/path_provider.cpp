// Makes the stand-in start a program from the directory SCADA_TEST_PROGRAMS if it exists there. Callers of the tool
// cannot choose its programs, so tests that slow one down or make it fail replace the stand-in with this library.
// Before directories are exchanged, it waits in the directory SCADA_TEST_GATE until the file "go" exists. With
// SCADA_TEST_NO_EXCHANGE they cannot be exchanged.

#include <fcntl.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>

extern "C" {

// The names follow the linker's option --wrap.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
int __real_posix_spawnp(pid_t* pid, const char* file, const posix_spawn_file_actions_t* actions,
                        const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment);

int __wrap_posix_spawnp(pid_t* pid, const char* file, const posix_spawn_file_actions_t* actions,
                        const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment) {
    const char* const directory = std::getenv("SCADA_TEST_PROGRAMS");
    const std::string program = directory == nullptr ? file : std::string(directory) + "/" + file;
    const bool isOurs = access(program.c_str(), X_OK) == 0;
    return __real_posix_spawnp(pid, isOurs ? program.c_str() : file, actions, attributes, arguments, environment);
}

// Replaces the system library's function.
int renameat2(int fromDirectory, const char* from, int toDirectory, const char* to, unsigned int flags) noexcept {
    if (const char* const gate = std::getenv("SCADA_TEST_GATE")) {
        close(open((std::string(gate) + "/waiting").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
        while (access(gate, F_OK) == 0 && access((std::string(gate) + "/go").c_str(), F_OK) != 0)
            usleep(10000);
    }
    if (std::getenv("SCADA_TEST_NO_EXCHANGE") != nullptr) {
        errno = EINVAL;
        return -1;
    }
    return static_cast<int>(syscall(SYS_renameat2, fromDirectory, from, toDirectory, to, flags));
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
}

// A sanitizer defines these functions itself.
#ifndef SCADA_SANITIZED
// Simulates a system with only as much memory as a test wants.
void* operator new(std::size_t size) {
    const char* largest = std::getenv("SCADA_TEST_LARGEST_ALLOCATION");
    void* memory = largest != nullptr && size > std::strtoull(largest, nullptr, 10) ? nullptr : std::malloc(size + 1);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
#endif
