// What the fuzz drivers share: the configuration files of one input, the messages of the readers, and the inputs that
// keep a reader busy for ever by design.
//
// The files lie in a folder of their own below TMPDIR, or the system's temporary folder, which goes away when the
// program ends in an orderly way. A finding ends it with abort().
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

// Ends the program with a finding unless `holds`. `promise` says what should hold.
void Expect(bool holds, const char* promise);

// One file of the configuration location. ReadFile ends the program with a finding when there is no such file.
void PutFile(const char* name, std::string_view bytes);
void RemoveFile(const char* name);
bool HasFile(const char* name);
std::string ReadFile(const char* name);

// Chooses the configuration index, 0 at the start.
void UseIndex(unsigned index);

// Messages since the last call of OnLeash, in order.
const std::vector<std::string>& Messages();

// Outcome of a load: the loader's result, or kNeverEnds for one that was left because it never ends.
constexpr int kNeverEnds = -1;

// Runs a loader. `neverEnds` is what the input was recognised as beforehand: such a load has to complain about an
// offline list without end, and is left after a thousand complaints and counted. Any other load has to end, and to keep
// the rules of messages and results: each message begins with "Config: ", 2 goes with none and 1 and 0 with at least
// one.
int OnLeash(bool neverEnds, int (*load)());

// A line as the readers see it: quotes dropped, blanks, control bytes and bytes from 128 on dropped and letters
// lowered outside of quotes. Told without a look at the library. Ends at a NUL byte.
std::string Normalised(std::string_view line);

// True for a file whose list of offline nodes, or of offline devices, holds a number that is 0 or above 64 at a place
// that the reader gets to. `nodeCount` is that of the loaded global record.
bool GlobalNeverEnds(std::string_view bytes);
bool LocalNeverEnds(std::string_view bytes, unsigned nodeCount);

// An input of two files: global.cfg up to the first line "====", local.cfg behind it.
struct TwoFiles {
    std::string_view global;
    std::string_view local;
};
TwoFiles Split(std::string_view input);

inline std::string_view AsText(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

// True when the field holds terminated text.
template <std::size_t N>
bool IsTerminated(const char (&field)[N]) {
    return std::string_view(field, N).find('\0') != std::string_view::npos;
}

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
