#include "faults/Figures.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace faults {
namespace {

constexpr int kToldLosses = 5;

}  // namespace

int RunsFor(const char* variable, int usual) {
    const char* text = std::getenv(variable);
    if (text == nullptr) {
        return usual;
    }
    char* end = nullptr;
    const long runs = std::strtol(text, &end, 10);
    if (*end != '\0' || runs < 1 || runs > 100'000'000) {
        throw std::runtime_error(std::string(variable) + " is no number of runs: " + text);
    }
    return static_cast<int>(runs);
}

Figures::Figures(std::string kind) : m_kind(std::move(kind)) {}

Figures::~Figures() {
    std::printf("figures | %s | %d | %d\n", m_kind.c_str(), m_runs, m_losses);
    std::fflush(stdout);
    EXPECT_EQ(m_losses, 0) << m_kind;
    EXPECT_GT(m_runs, 0) << m_kind;
}

void Figures::Lost(const std::string& what) {
    if (++m_losses <= kToldLosses) {
        ADD_FAILURE() << m_kind << ": " << what;
    }
}

void Figures::Run(const std::string& loss) {
    Ran();
    if (!loss.empty()) {
        Lost(loss);
    }
}

}  // namespace faults
