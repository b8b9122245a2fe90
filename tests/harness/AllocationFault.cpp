#include "AllocationFault.h"

#include <dlfcn.h>

#include <atomic>
#include <cstring>

namespace Kelvra::SCADA::Test {

namespace {

constexpr long OFF = 0;

std::atomic<long> live{0};
thread_local long untilFailure = OFF;
thread_local bool failedOnce = false;
thread_local bool failedInSystem = false;

} // namespace

AllocationFault::AllocationFault(long nth) {
    failedOnce = false;
    failedInSystem = false;
    untilFailure = nth;
}

AllocationFault::~AllocationFault() {
    untilFailure = OFF;
}

// NOLINTBEGIN(readability-convert-member-functions-to-static): the object stands for the fault of its thread
bool AllocationFault::hit() const {
    return failedOnce;
}

bool AllocationFault::inSystem() const {
    return failedInSystem;
}
// NOLINTEND(readability-convert-member-functions-to-static)

bool AllocationFault::isDue(const void* caller) {
    if (untilFailure == OFF || --untilFailure != OFF)
        return false;
    Dl_info origin{};
    failedOnce = true;
    failedInSystem =
        caller != nullptr && dladdr(caller, &origin) != 0 && std::strstr(origin.dli_fname, "/libc.so") != nullptr;
    return true;
}

long liveAllocations() {
    return live;
}

void* counted(void* memory) {
    if (memory != nullptr)
        ++live;
    return memory;
}

void discounted(const void* memory) {
    if (memory != nullptr)
        --live;
}

} // namespace Kelvra::SCADA::Test
