#include "support/StdoutCapture.h"

#include <sys/mman.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

namespace test_support {
namespace {

int NamelessFile() {
    const int file = memfd_create("stdout", MFD_CLOEXEC);
    if (file < 0) {
        throw std::runtime_error("cannot create a file for the standard output");
    }
    return file;
}

}  // namespace

StdoutRedirect::StdoutRedirect(int descriptor) : m_original(-1) {
    std::fflush(stdout);
    m_original = dup(STDOUT_FILENO);
    if (m_original < 0 || dup2(descriptor, STDOUT_FILENO) < 0) {
        throw std::runtime_error("cannot redirect the standard output");
    }
}

StdoutRedirect::~StdoutRedirect() {
    End();
}

void StdoutRedirect::End() {
    if (m_original >= 0) {
        std::fflush(stdout);
        dup2(m_original, STDOUT_FILENO);
        close(m_original);
        m_original = -1;
    }
}

StdoutCapture::StdoutCapture() : m_file(NamelessFile()), m_redirect(m_file) {}

StdoutCapture::~StdoutCapture() {
    m_redirect.End();
    close(m_file);
}

std::string StdoutCapture::Text() const {
    std::fflush(stdout);
    std::string text;
    char block[4096];
    off_t at = 0;
    for (;;) {
        const ssize_t count = pread(m_file, block, sizeof block, at);
        if (count <= 0) {
            return text;
        }
        text.append(block, static_cast<std::size_t>(count));
        at += count;
    }
}

}  // namespace test_support
