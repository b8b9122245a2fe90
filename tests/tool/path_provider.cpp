// Makes the stand-in start a program from the directory SCADA_TEST_PROGRAMS when it is there. The tool lets no one who
// calls it choose the programs, so that tests that slow one down or make it fail put this library in the stand-in's
// place.

#include <spawn.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <new>
#include <string>

extern "C" {

// The names are those that the linker's option --wrap gives.
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
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
}

// The system has no more memory than a test wants.
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
