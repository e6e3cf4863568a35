#include "Place.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "OsLayer.h"
#include "Work.h"

namespace bench {
namespace {

class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "vesmara-bench-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            Fail("no temporary folder can be made");
        }
        m_path = pattern;
    }
    ~TemporaryFolder() {
        std::error_code unheeded;
        std::filesystem::remove_all(m_path, unheeded);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

}  // namespace

const std::string& DataFolder() {
    static const TemporaryFolder folder;
    return folder.Path();
}

std::string Folder(const std::string& name) {
    const std::string path = DataFolder() + "/" + name;
    std::filesystem::create_directories(path);
    return path;
}

std::string ConfigFolder() {
    return Folder("Orvan/Config/Server");
}

void WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream file(path, std::ios::binary);
    file << bytes;
    if (!file.flush()) {
        Fail("cannot write " + path);
    }
}

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace bench

// A definition in the program itself is found before the one in the shared library.
int OS_GetProgramDataPath(char* buffer, unsigned int size) {
    const std::string& path = bench::DataFolder();
    if (path.size() >= size) {
        return 0;
    }
    std::memcpy(buffer, path.c_str(), path.size() + 1);
    return 1;
}
