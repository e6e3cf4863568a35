#include "faults/AllocationFaults.h"

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

bool g_on = false;
int g_count = 0;
int g_first = std::numeric_limits<int>::max();
bool g_forGood = false;

bool FailsNow() {
    if (!g_on) {
        return false;
    }
    const int number = g_count++;
    return number == g_first || (g_forGood && number > g_first);
}

}  // namespace

#ifdef FAULTS_SANITIZED

// The sanitizer's own behind it.
void* operator new(std::size_t size) {
    void* memory = FailsNow() ? nullptr : std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

#else

// The C library calls these by their names too, so that its own allocations are seen. What they give is freed by the
// library as always.
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);

void* malloc(std::size_t size) {
    if (FailsNow()) {
        errno = ENOMEM;
        return nullptr;
    }
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
    if (FailsNow()) {
        errno = ENOMEM;
        return nullptr;
    }
    return __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) {
    if (FailsNow()) {
        errno = ENOMEM;
        return nullptr;
    }
    return __libc_realloc(memory, size);
}
}

#endif

namespace faults {

void FailAllocation(int first, Failing failing) {
    g_count = 0;
    g_first = first;
    g_forGood = failing == Failing::ForGood;
}

AllocationFaults::AllocationFaults() {
    g_on = true;
}

AllocationFaults::~AllocationFaults() {
    g_on = false;
}

int CountedAllocations() {
    return g_count;
}

}  // namespace faults
