#include "PrivateFolder.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "DataPath.h"
#include "Report.h"

namespace {

std::string Parent() {
    const char* parent = std::getenv("TMPDIR");
    return parent != nullptr && parent[0] != '\0' ? parent : "/tmp";
}

}  // namespace

PrivateFolder::PrivateFolder() {
    const std::string parent = Parent();
    m_path = parent + "/vesmara-check.XXXXXX";
    if (m_path.size() > LONGEST_DATA_PATH) {
        throw NotChecked{"no place for the temporary files: the path of TMPDIR is too long"};
    }
    umask(077);
    if (mkdtemp(m_path.data()) == nullptr) {
        throw NotChecked{NoPlaceSentence("no folder can be made in '" + parent + "'", errno)};
    }
}

PrivateFolder::~PrivateFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string NoPlaceSentence(const std::string& what, int error) {
    return "no place for the temporary files: " + what + " (" + std::strerror(error) + ")";
}
