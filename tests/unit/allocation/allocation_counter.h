// Counts allocations made through operator new while an AllocationCounter is alive. The
// replacement operator new lives in no_allocation_test.cpp, once per test binary.
#pragma once

#include <atomic>

namespace scrawlet::testing {

extern std::atomic<bool> countingAllocations;
extern std::atomic<long> allocationCount;

class AllocationCounter {
  public:
    AllocationCounter() {
        allocationCount = 0;
        countingAllocations = true;
    }
    ~AllocationCounter() { countingAllocations = false; }
    AllocationCounter(const AllocationCounter&) = delete;
    AllocationCounter& operator=(const AllocationCounter&) = delete;
    long count() const { return allocationCount.load(); }
};

}  // namespace scrawlet::testing
