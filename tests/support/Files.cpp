#include "support/Files.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace test_support {

TempDir::TempDir() {
    m_path = (std::filesystem::temp_directory_path() / "vesmara-test-XXXXXX").string();
    if (mkdtemp(m_path.data()) == nullptr) {
        throw std::runtime_error("cannot create " + m_path);
    }
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string TempDir::MakeDir(const std::string& name) const {
    std::filesystem::create_directories(File(name));
    return File(name);
}

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot read " + path);
    }
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + path);
    }
}

bool Exists(const std::string& path) {
    return std::filesystem::exists(std::filesystem::symlink_status(path));
}

}  // namespace test_support
