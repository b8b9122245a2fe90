#include "AllocationFault.h"

#include <cstdlib>
#include <new>

// Valgrind replaces global functions with its own but leaves weak ones alone. The address sanitizer's own functions are
// weak and would be found first.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SCADA_REPLACEMENT
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) && !defined(SCADA_REPLACEMENT)
#define SCADA_REPLACEMENT
#endif
#if !defined(SCADA_REPLACEMENT)
#define SCADA_REPLACEMENT __attribute__((weak))
#endif

namespace {

using namespace Kelvra::SCADA::Test;

void* allocate(std::size_t size) {
    return AllocationFault::isDue(nullptr) ? nullptr : counted(std::malloc(size == 0 ? 1 : size));
}

void* allocateOrThrow(std::size_t size) {
    void* memory = allocate(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void release(void* memory) {
    discounted(memory);
    std::free(memory);
}

} // namespace

SCADA_REPLACEMENT void* operator new(std::size_t size) {
    return allocateOrThrow(size);
}

SCADA_REPLACEMENT void* operator new[](std::size_t size) {
    return allocateOrThrow(size);
}

SCADA_REPLACEMENT void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}

SCADA_REPLACEMENT void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}

SCADA_REPLACEMENT void operator delete(void* memory) noexcept {
    release(memory);
}

SCADA_REPLACEMENT void operator delete[](void* memory) noexcept {
    release(memory);
}

SCADA_REPLACEMENT void operator delete(void* memory, std::size_t) noexcept {
    release(memory);
}

SCADA_REPLACEMENT void operator delete[](void* memory, std::size_t) noexcept {
    release(memory);
}

SCADA_REPLACEMENT void operator delete(void* memory, const std::nothrow_t&) noexcept {
    release(memory);
}

SCADA_REPLACEMENT void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    release(memory);
}
