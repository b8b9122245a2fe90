#include "FailingNew.h"

#include <dlfcn.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

// What the C library itself goes on with when its allocation functions are replaced.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void __libc_free(void* memory);
}

namespace {

constexpr long OFF = 0;

std::atomic<long> live{0};
thread_local long untilFailure = OFF;
thread_local bool failedOnce = false;
thread_local bool failedInSystem = false;

bool fails(const void* caller) {
    if (untilFailure == OFF || --untilFailure != OFF)
        return false;
    Dl_info origin{};
    failedOnce = true;
    failedInSystem = dladdr(caller, &origin) != 0 && std::strstr(origin.dli_fname, "/libc.so") != nullptr;
    return true;
}

void* counted(void* memory) {
    if (memory != nullptr)
        ++live;
    return memory;
}

} // namespace

extern "C" void* malloc(std::size_t size) {
    return fails(__builtin_return_address(0)) ? nullptr : counted(__libc_malloc(size));
}

extern "C" void* calloc(std::size_t count, std::size_t size) {
    return fails(__builtin_return_address(0)) ? nullptr : counted(__libc_calloc(count, size));
}

extern "C" void* realloc(void* memory, std::size_t size) {
    if (fails(__builtin_return_address(0)))
        return nullptr;
    void* const moved = __libc_realloc(memory, size);
    return memory == nullptr ? counted(moved) : moved;
}

extern "C" void free(void* memory) {
    if (memory != nullptr)
        --live;
    __libc_free(memory);
}

namespace Kelvra::SCADA::Test {

AllocationFault::AllocationFault(long nth) {
    failedOnce = false;
    failedInSystem = false;
    untilFailure = nth;
}

AllocationFault::~AllocationFault() {
    untilFailure = OFF;
}

bool AllocationFault::hit() const {
    return failedOnce;
}

bool AllocationFault::inSystem() const {
    return failedInSystem;
}

long liveAllocations() {
    return live;
}

} // namespace Kelvra::SCADA::Test
