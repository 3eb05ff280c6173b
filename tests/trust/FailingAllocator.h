#pragma once

/// Makes single allocations of the library fail. The program that links this replaces the allocation functions; only calls
/// made from the library's own code are counted, those of Qt, TBB and the tests always succeed.
namespace failing_allocator {

/// From now on the k-th allocation, by whatever thread, fails; 0: none.
void failAt(int k);

/// Ends that, and tells whether an allocation was refused.
bool stop();

} // namespace failing_allocator
