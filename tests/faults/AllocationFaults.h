// Allocations that fail. The program that links this has its own malloc in front of the library's; with a sanitizer,
// which needs malloc for itself, its own operator new alone.
#pragma once

namespace faults {

enum class Failing { Once, ForGood };

// From now on, while they are switched on, allocations are counted, and number `first`, counted from 0, fails; for
// good: also all after it.
void FailAllocation(int first, Failing failing);

// Switches counting and failing on while it lives.
class AllocationFaults {
public:
    AllocationFaults();
    ~AllocationFaults();
    AllocationFaults(const AllocationFaults&) = delete;
    AllocationFaults& operator=(const AllocationFaults&) = delete;
};

// Allocations counted since the last call of FailAllocation.
int CountedAllocations();

}  // namespace faults
