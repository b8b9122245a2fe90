#pragma once

namespace Kelvra::SCADA::Test {

/// While it lives, makes one allocation of this thread fail: the `nth` from its construction on, counted from 1. What
/// counts is an operator new in programs with FailingNew.cpp, and whatever comes down to malloc in those with
/// FailingMalloc.cpp.
class AllocationFault {
public:
    explicit AllocationFault(long nth);
    ~AllocationFault();
    AllocationFault(const AllocationFault&) = delete;
    AllocationFault& operator=(const AllocationFault&) = delete;

    /// Whether that allocation was asked for and has failed.
    bool hit() const;
    /// Whether the C library had asked for it, which reports the failure of what it was to do and throws nothing.
    bool inSystem() const;

    /// For the replaced functions: returns whether the allocation that they are asked for is to fail. `caller` is an
    /// address in the code that asks, or null when it does not matter.
    static bool isDue(const void* caller);
};

/// How many allocations of all threads have not been released.
long liveAllocations();

/// For the replaced functions: returns `memory`, counted unless it is null.
void* counted(void* memory);
/// The same for what is to be released.
void discounted(const void* memory);

} // namespace Kelvra::SCADA::Test
