// Files and folders of a test.
#pragma once

#include <string>

namespace test_support {

// A fresh folder below the system's temporary folder, removed with everything in it at the end of the object's life.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    // Absolute, without a closing slash.
    const std::string& Path() const { return m_path; }

    // Path() / name; nothing is created.
    std::string File(const std::string& name) const { return m_path + "/" + name; }

    // Creates the folder `name` below Path(), with all on the way to it, and returns its path.
    std::string MakeDir(const std::string& name) const;

private:
    std::string m_path;
};

// Whole contents as bytes. Throws std::runtime_error when the file cannot be read.
std::string ReadFile(const std::string& path);

// Creates or replaces the file. Throws std::runtime_error when it cannot be written.
void WriteFile(const std::string& path, const std::string& bytes);

bool Exists(const std::string& path);

}  // namespace test_support
