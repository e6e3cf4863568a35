// Normalisation of a line, against a plain statement of its rules.
#include <vector>

#include "ConfigLib.h"
#include "FuzzSupport.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Exactly as long as the text, so that a write behind its terminator is seen.
    std::vector<char> line(data, data + size);
    line.push_back('\0');
    ConfigFile_Utils_RemoveSpaces(line.data());
    fuzz::Expect(fuzz::Normalised(fuzz::AsText(data, size)) == line.data(), "a line is normalised by the rules");
    return 0;
}
