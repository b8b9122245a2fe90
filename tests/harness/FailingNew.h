#pragma once

namespace Kelvra::SCADA::Test {

/// While it lives, makes one allocation of this thread fail: the `nth` from its construction on, counted from 1. What
/// counts is an operator new, or in programs with FailingMalloc.cpp whatever comes down to malloc.
struct AllocationFault {
    explicit AllocationFault(long nth);
    ~AllocationFault();

    AllocationFault(const AllocationFault&) = delete;
    AllocationFault& operator=(const AllocationFault&) = delete;

    /// Whether that allocation was asked for and has failed.
    bool hit() const;
    /// Whether the C library had asked for it, which reports the failure of what it was to do and throws nothing.
    bool inSystem() const;
};

/// How many allocations of all threads have not been released.
long liveAllocations();

} // namespace Kelvra::SCADA::Test
