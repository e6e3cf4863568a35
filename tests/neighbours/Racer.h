// A neighbour who swaps what lies at some names as quickly as he can, while the product works on them.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace neighbours {

class Racer {
public:
    // Starts the stranger's process. Links lead to root's file and to a missing one beside it; second names of root's
    // file, this many, are made beforehand, as if the kernel let a stranger make them.
    Racer(const std::vector<std::string>& names, int secondNames);
    ~Racer();
    Racer(const Racer&) = delete;
    Racer& operator=(const Racer&) = delete;

    // How often an object has come to one of the names so far. May be asked in a child process.
    std::uint64_t Swaps() const { return swaps_->load(); }

private:
    std::atomic<std::uint64_t>* swaps_;
    pid_t process_;
};

}  // namespace neighbours
