// Where the competitors put what they read: records like the library's own, filled with plain C library calls.
#pragma once

#include <cstddef>
#include <cstdint>

#include "External/Plugin/config.h"

namespace bench {

class Facts {
public:
    Facts() = default;
    ~Facts() { Clear(); }
    Facts(const Facts&) = delete;
    Facts& operator=(const Facts&) = delete;

    // Empties the records, as every load does first.
    void Clear();

    // A camera section of one camera, appended.
    CONFIGURATION__CAPTURE_HARDWARE& AddCamera(std::uint32_t camera);

    CONFIGURATION__GLOBAL global{};
    CONFIGURATION__LOCAL local{};
};

void StoreText(char* field, std::size_t size, const char* value);

// Two values with a comma between them.
void StorePair(char* first, std::size_t firstSize, char* second, std::size_t secondSize, const char* value);

void StoreModel(CONFIGURATION__CAPTURE_HARDWARE& section, const char* value);
void StoreMac(CONFIGURATION__CAPTURE_HARDWARE& section, const char* value);
std::uint32_t ToNumber(const char* value);
float ToFraction(const char* percent);

// One or two addresses.
void StoreAddresses(std::uint32_t (&addresses)[2], const char* value);

// Bit n-1 for every number n of a list.
std::uint64_t ToMask(const char* list);

// Directories end in a slash once loaded.
void CloseDirectory(char* directory);

}  // namespace bench
