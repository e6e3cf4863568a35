// The messages of the log's benchmarks, the same for all loggers.
#pragma once

namespace bench {

constexpr unsigned int kBurst = 100;  // messages between two drains; they fit the log's ring
constexpr char kBurstLabel[] = "Camera";
constexpr unsigned int kBurstNode = 17;

}  // namespace bench
