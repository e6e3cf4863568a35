// The reader and the writer of the device map: bytes in, the same bytes out.
#include "ConfigLib.h"
#include "FuzzSupport.h"

namespace {

using fuzz::Expect;

constexpr char kFile[] = "DeviceMapInfo.cfgbin";
constexpr char kEmuDefFile[] = "DeviceMapInfoEmuDef.cfgbin";

std::string_view Block() {
    void* block = nullptr;
    unsigned int size = 0;
    ConfigFile_GetStructPtr_DeviceMapInfo(&block, &size);
    Expect(block != nullptr, "there is a block once one was loaded");
    return {static_cast<const char*>(block), size};
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes = fuzz::AsText(data, size);
    const bool emuDef = size % 2 == 1;
    fuzz::PutFile(emuDef ? kEmuDefFile : kFile, bytes);
    const int expected = bytes.empty() ? CONFIG_LOAD_FAILED : CONFIG_LOAD_CLEAN;
    Expect(ConfigLib_Load_DeviceMap(emuDef) == expected, "a block loads unless it is empty");
    Expect(Block() == bytes, "the block is the file's bytes");

    std::string copy(bytes);
    Expect(ConfigLib_Save_DeviceMap(copy.data(), static_cast<unsigned int>(copy.size())), "a block can be saved");
    Expect(fuzz::ReadFile(kFile) == bytes, "the file is the block's bytes");

    fuzz::RemoveFile(kFile);
    fuzz::RemoveFile(kEmuDefFile);
    Expect(ConfigLib_Load_DeviceMap(emuDef) == CONFIG_LOAD_FAILED, "without a file nothing loads");
    Expect(Block() == bytes, "and the old block stays");
    return 0;
}
