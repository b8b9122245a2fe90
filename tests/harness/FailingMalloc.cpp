#include "AllocationFault.h"

#include <cstdlib>

using namespace Kelvra::SCADA::Test;

// The functions that the C library itself continues to use when its allocation functions are replaced.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): the names are given
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void __libc_free(void* memory);
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

extern "C" void* malloc(std::size_t size) {
    return AllocationFault::isDue(__builtin_return_address(0)) ? nullptr : counted(__libc_malloc(size));
}

extern "C" void* calloc(std::size_t count, std::size_t size) {
    return AllocationFault::isDue(__builtin_return_address(0)) ? nullptr : counted(__libc_calloc(count, size));
}

extern "C" void* realloc(void* memory, std::size_t size) {
    if (AllocationFault::isDue(__builtin_return_address(0)))
        return nullptr;
    void* const moved = __libc_realloc(memory, size);
    return memory == nullptr ? counted(moved) : moved;
}

extern "C" void free(void* memory) {
    discounted(memory);
    __libc_free(memory);
}
