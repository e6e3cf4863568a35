// A save that is killed, wherever it stands: each file is wholly old or wholly new, and the next save succeeds.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <ctime>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "faults/Figures.h"
#include "faults/Stage.h"
#include "faults/Tracer.h"

namespace faults {
namespace {

std::string LossAfterKill(Size size, unsigned version, const Results& results) {
    const std::string loss = LossOf(size, version - 1, version, results);
    return loss.empty() ? LossOfNextSave(size, version) : loss;
}

// Kills at stop number `stop`, counted from 0. False when the save ended before it.
bool KillAtStop(Size size, int stop, Figures& figures) {
    Put(size, 1);
    const SharedResults results;
    Tracer tracer([&] { LoadAndChange(size, 2); }, [&] { SaveBoth(*results); });
    CallStop at;
    for (int i = 0; i <= stop; ++i) {
        if (!tracer.Next(at)) {
            EXPECT_EQ(tracer.Finish(), 0);
            EXPECT_EQ(LossOf(size, 2, 2, *results), "");
            return false;
        }
    }
    tracer.Kill();
    const std::string loss = LossAfterKill(size, 2, *results);
    figures.Run(loss.empty() ? "" : CallName(at.number) + (at.entry ? " entry: " : " exit: ") + loss);
    return true;
}

class SaveKill : public testing::TestWithParam<Size> {
protected:
    Mounted m_mounted{"tmpfs", kFolder, "tmpfs", "size=4m"};
};

TEST_P(SaveKill, AtEntryOrExitOfAnySystemCallLeavesEachFileOldOrNew) {
    Figures figures("kill -9 at each system call");
    int stops = 0;
    while (KillAtStop(GetParam(), stops, figures)) {
        ++stops;
    }
    EXPECT_GT(stops, 10);
}

// Nanoseconds that a save of both files takes, at least half of the time.
long TimeOfASave(Size size) {
    std::vector<long> times;
    const SharedResults results;
    for (int i = 0; i < 15; ++i) {
        Put(size, 1);
        RunChild([&] {
            LoadAndChange(size, 2);
            SaveBoth(*results);
        });
        times.push_back(results->nanoseconds);
    }
    std::nth_element(times.begin(), times.begin() + 7, times.end());
    return times[7];
}

// From now on the process has this long to live. The kernel kills it: another process would come late on a busy
// machine.
void DieAfter(long nanoseconds) {
    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGKILL;
    timer_t timer{};
    itimerspec moment{};
    moment.it_value.tv_sec = nanoseconds / 1'000'000'000;
    moment.it_value.tv_nsec = nanoseconds % 1'000'000'000;
    if (timer_create(CLOCK_MONOTONIC, &event, &timer) != 0 || timer_settime(timer, 0, &moment, nullptr) != 0) {
        throw std::runtime_error("no timer");
    }
}

// False when the save ended before the moment.
bool KillAfter(long nanoseconds, Size size, unsigned version, SharedResults& results) {
    results.Clear();
    RunChild([&] {
        LoadAndChange(size, version);
        DieAfter(nanoseconds);
        SaveBoth(*results);
    });
    return results->ended == 0;
}

TEST_P(SaveKill, AtRandomMomentsLeavesEachFileOldOrNew) {
    Figures figures("kill -9 at random moments");
    const Size size = GetParam();
    const int wanted = RunsFor("VESMARA_FAULT_KILLS", 1000) / 2;  // the other half belongs to the other size
    std::mt19937_64 random(std::random_device{}());
    std::uniform_int_distribution<long> moments(1, TimeOfASave(size));
    SharedResults results;
    Put(size, 1);
    unsigned version = 1;
    // What ends before its moment has not been killed and does not count.
    for (int tries = 0; figures.Runs() < wanted && tries < 20 * wanted; ++tries) {
        ++version;
        if (KillAfter(moments(random), size, version, results)) {
            figures.Run(LossAfterKill(size, version, *results));
        } else {
            EXPECT_EQ(LossOf(size, version, version, *results), "");
        }
    }
    EXPECT_EQ(figures.Runs(), wanted);
}

INSTANTIATE_TEST_SUITE_P(Of, SaveKill, testing::Values(Size::Small, Size::Large),
                         [](const auto& size) { return size.param == Size::Small ? "SmallFiles" : "LargeFiles"; });

}  // namespace
}  // namespace faults
