// Calls that LogLib makes and that a test wants to fail, to answer differently or to see.
#pragma once

#include <cstddef>
#include <ctime>
#include <functional>

// While it lives, malloc gives null to whoever asks on this thread.
class ShortMemory {
public:
    ShortMemory();
    ~ShortMemory();
    ShortMemory(const ShortMemory&) = delete;
    ShortMemory& operator=(const ShortMemory&) = delete;
};

// While it lives, fread on this thread delivers at most `limit` bytes in one call.
class ShortReads {
public:
    explicit ShortReads(std::size_t limit);
    ~ShortReads();
    ShortReads(const ShortReads&) = delete;
    ShortReads& operator=(const ShortReads&) = delete;
};

// While it lives, no event can be made.
class NoEvents {
public:
    NoEvents();
    ~NoEvents();
    NoEvents(const NoEvents&) = delete;
    NoEvents& operator=(const NoEvents&) = delete;
};

// While it lives, `act` runs ahead of each entry into a guarded code section.
class AheadOfSections {
public:
    explicit AheadOfSections(std::function<void()> act);
    ~AheadOfSections();
    AheadOfSections(const AheadOfSections&) = delete;
    AheadOfSections& operator=(const AheadOfSections&) = delete;
};

// How many guarded code sections have been deleted so far.
int DeletedSections();

// Bytes asked for in the latest malloc call of this thread.
std::size_t LatestRequest();

// From now on time() gives `now`, on every thread.
void SetClock(std::time_t now);

// From now on CloseLog waits for the log thread without a limit, or with its own one: a thread that gets no processor
// for two seconds ends by force, and the text in the ring is lost.
void LetCloseLogWait(bool withoutLimit);
