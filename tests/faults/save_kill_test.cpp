// A save that is killed, wherever it stands: each file is wholly old or wholly new, and the next save succeeds.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "faults/Figures.h"
#include "faults/Stage.h"
#include "faults/Tracer.h"

namespace faults {
namespace {

using Clock = std::chrono::steady_clock;

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

// Returns when the child is about to save. Throws when it has ended instead.
void AwaitStart(pid_t child, const Results& results) {
    while (results.started == 0) {
        siginfo_t ended{};
        waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOHANG | WNOWAIT);
        if (ended.si_pid == child && results.started == 0) {
            throw std::runtime_error("the process ended before its save");
        }
        sched_yield();
    }
}

// Nanoseconds that a save of both files takes, at least half of the time.
std::chrono::nanoseconds TimeOfASave(Size size) {
    std::vector<std::chrono::nanoseconds> times;
    const SharedResults results;
    for (int i = 0; i < 15; ++i) {
        results->started = 0;
        results->ended = 0;
        Put(size, 1);
        const pid_t child = StartChild([&] {
            LoadAndChange(size, 2);
            SaveBoth(*results);
        });
        AwaitStart(child, *results);
        const auto begin = Clock::now();
        while (results->ended == 0) {
        }
        times.push_back(Clock::now() - begin);
        waitpid(child, nullptr, 0);
    }
    std::nth_element(times.begin(), times.begin() + 7, times.end());
    return times[7];
}

// False when the save ended before the moment.
bool KillAfter(std::chrono::nanoseconds moment, Size size, unsigned version, SharedResults& results) {
    results.Clear();
    const pid_t child = StartChild([&] {
        LoadAndChange(size, version);
        SaveBoth(*results);
    });
    AwaitStart(child, *results);
    const auto begin = Clock::now();
    while (Clock::now() - begin < moment) {
    }
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    return results->ended == 0;
}

TEST_P(SaveKill, AtRandomMomentsLeavesEachFileOldOrNew) {
    Figures figures("kill -9 at random moments");
    const Size size = GetParam();
    const int wanted = RunsFor("VESMARA_FAULT_KILLS", 300) / 2;  // the other half belongs to the other size
    std::mt19937_64 random(std::random_device{}());
    const auto longest = TimeOfASave(size).count();
    SharedResults results;
    Put(size, 1);
    unsigned version = 1;
    // What ends before its moment has not been killed and does not count.
    for (int tries = 0; figures.Runs() < wanted && tries < 20 * wanted; ++tries) {
        ++version;
        const std::chrono::nanoseconds moment(static_cast<long>(random() % static_cast<unsigned long>(longest)));
        if (KillAfter(moment, size, version, results)) {
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
