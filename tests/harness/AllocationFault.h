#pragma once

namespace Kelvra::SCADA::Test {

/// As long as the object exists, one allocation of this thread fails: the `nth` since its construction, counted from 1.
/// In programs with FailingNew.cpp calls of operator new count, in those with FailingMalloc.cpp everything that calls
/// malloc.
class AllocationFault {
public:
    explicit AllocationFault(long nth);
    ~AllocationFault();
    AllocationFault(const AllocationFault&) = delete;
    AllocationFault& operator=(const AllocationFault&) = delete;

    /// Returns whether that allocation was requested and has failed.
    bool hit() const;
    /// Returns whether the C library requested it; it reports the failure of its operation and does not throw.
    bool inSystem() const;

    /// For the replacement functions: returns whether the requested allocation must fail. `caller` is an address in the
    /// requesting code, or null if it does not matter.
    static bool isDue(const void* caller);
};

/// Returns the number of allocations of all threads that have not been released.
long liveAllocations();

/// For the replaced functions: returns `memory`, counted unless it is null.
void* counted(void* memory);
/// Like the above, for memory that is about to be released.
void discounted(const void* memory);

} // namespace Kelvra::SCADA::Test
