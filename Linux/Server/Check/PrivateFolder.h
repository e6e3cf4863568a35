// The one place that the checker writes to.
#pragma once

#include <string>

// A new folder of mode 0700 below TMPDIR where that is set, else below /tmp; gone with the object, whatever is in it.
class PrivateFolder {
public:
    // Throws NotChecked when it cannot be made.
    PrivateFolder();
    ~PrivateFolder();
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;

    const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

// One sentence about a lack of room in the folder, with the system's error.
std::string NoPlaceSentence(const std::string& what, int error);
