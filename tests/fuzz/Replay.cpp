// Stands in for the fuzzing engine where there is none: runs the driver once on each file of the folders named.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "FuzzSupport.h"

int main(int argc, char** argv) {
    unsigned long count = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            std::ifstream file(entry.path(), std::ios::binary);
            const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
            // On a finding this line says which input it was.
            std::fprintf(stderr, "%s\n", entry.path().c_str());
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
            ++count;
        }
    }
    std::fprintf(stderr, "%lu inputs\n", count);
    return count > 0 ? 0 : 1;
}
