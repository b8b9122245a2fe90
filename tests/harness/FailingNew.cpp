#include "FailingNew.h"

#include <atomic>
#include <cstdlib>
#include <new>

// Valgrind puts its own functions in the place of global ones, but leaves weak ones alone. The address sanitizer's own
// are weak and would be found first.
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

constexpr long OFF = 0;

std::atomic<long> live{0};
thread_local long untilFailure = OFF;
thread_local bool failedOnce = false;

void* allocate(std::size_t size) {
    if (untilFailure != OFF && --untilFailure == OFF) {
        failedOnce = true;
        return nullptr;
    }
    void* memory = std::malloc(size == 0 ? 1 : size);
    if (memory != nullptr)
        ++live;
    return memory;
}

void* allocateOrThrow(std::size_t size) {
    void* memory = allocate(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void release(void* memory) {
    if (memory != nullptr)
        --live;
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

namespace Kelvra::SCADA::Test {

AllocationFault::AllocationFault(long nth) {
    failedOnce = false;
    untilFailure = nth;
}

AllocationFault::~AllocationFault() {
    untilFailure = OFF;
}

bool AllocationFault::hit() const {
    return failedOnce;
}

bool AllocationFault::inSystem() const {
    return false;
}

long liveAllocations() {
    return live;
}

} // namespace Kelvra::SCADA::Test
