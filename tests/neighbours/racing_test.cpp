// A neighbour who swaps objects at the names while root's program saves, logs, rotates, starts and switches: he reaches
// nothing that is not his, and nothing waits for him.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>
#include <tuple>
#include <vector>

#include "neighbours/Racer.h"
#include "neighbours/Run.h"
#include "neighbours/Steps.h"
#include "neighbours/World.h"

namespace neighbours {
namespace {

namespace fs = std::filesystem;

// How long each race goes on by hand; the suite's own end with their counts.
int Seconds() {
    const char* text = std::getenv("VESMARA_NEIGHBOURS_SECONDS");
    return text == nullptr ? 0 : std::atoi(text);
}

int SaveBoth() {
    return SaveGlobal() + SaveLocal();
}

// A log that rotates with the first message is moved into place at once.
int Rotate() {
    const std::string fresh = "/etc/fresh";  // stays there where a folder has the name
    World::Write(fresh, "");
    fs::resize_file(fresh, static_cast<std::uintmax_t>(kLogLimit));
    (void)std::rename(fresh.c_str(), kLog.c_str());
    return RotateLogAlone();
}

int Load() {
    LoadGlobal();
    LoadLocal();
    LoadDeviceInfo();
    return LoadDeviceMap();
}

struct Contest {
    const char* name;
    int (*turn)();  // of the product; null: a start of the program
    std::vector<std::string> names;
    int turns;  // at least, in the suite
};

const Contest kContests[] = {
    {"Saves", SaveBoth, {kGlobalTemporary, kLocalTemporary, kGlobal, kLocal}, 1500},
    {"SavesInPlace", [] { return SaveDeviceInfo() + SaveDeviceMap(); }, {kCamera, kMap}, 1500},
    {"Logs", WriteLog, {kLog}, 300},
    {"ModesOfTheLog", SetModeOfLog, {kLog}, 3000},
    {"Rotations", Rotate, {kLog, kOldLog}, 100},
    {"Autostarts", SwitchAutostartOn, {kAutostart}, 300},
    {"Loads", Load, {kGlobal, kLocal, kCamera, kMap}, 1500},
    {"Starts", nullptr, {kLog, kOldLog, kGlobal, kLocal, kCamera}, 8},
};
constexpr std::uint64_t kSwaps = 500;  // at least, in the suite

// What got stuck is taken away: the product's own file in a sticky folder, and what the product refuses there.
void ClearSome(const Contest& contest, int turn) {
    if (turn % 2 == 0) {
        for (const std::string& name : contest.names) {
            if (unlink(name.c_str()) != 0) {
                rmdir(name.c_str());
            }
        }
    }
}

template <typename Turn>
int TakeTurns(const Contest& contest, const Racer& racer, Turn turn) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(Seconds());
    int turns = 0;
    while (turns < contest.turns || racer.Swaps() < kSwaps || std::chrono::steady_clock::now() < end) {
        ClearSome(contest, turns++);
        turn();
    }
    return turns;
}

// Turns taken, -1 when one hung.
int Compete(const Contest& contest, const Racer& racer) {
    if (contest.turn == nullptr) {
        bool hung = false;
        const int turns = TakeTurns(contest, racer, [&] { hung = hung || StartProgram(kRoot).hung; });
        return hung ? -1 : turns;
    }
    const Outcome outcome = RunAs(
        kRoot,
        [&] {
            const int turns = TakeTurns(contest, racer, contest.turn);
            std::printf("\nturns %d", turns);
            return 0;
        },
        Seconds());
    const std::size_t count = outcome.output.rfind("\nturns ");
    return outcome.hung || count == std::string::npos ? -1 : std::atoi(outcome.output.c_str() + count + 7);
}

// Files of root's and of the caller's.
Snapshot Victims() {
    Snapshot victims;
    for (const auto& [path, entry] : World::Look()) {
        if (path.rfind(kRootsFolder + "/", 0) == 0 || path.rfind(kCallersFolder + "/", 0) == 0) {
            victims[path] = entry;
        }
    }
    return victims;
}

class Racing : public testing::TestWithParam<std::tuple<std::size_t, mode_t>> {};

TEST_P(Racing, NeighbourReachesNothing) {
    const auto [index, mode] = GetParam();
    const Contest& contest = kContests[index];
    const World world(mode);
    const Snapshot before = Victims();
    std::uint64_t swaps = 0;
    int turns = 0;
    {
        const Racer racer(contest.names, 2000 * (Seconds() + 1));
        turns = Compete(contest, racer);
        swaps = racer.Swaps();
    }
    const std::vector<std::string> hits = Differences(before, Victims(), {});
    EXPECT_GE(turns, 0) << "it hung";
    for (const std::string& hit : hits) {
        ADD_FAILURE() << hit;
    }
    std::printf("figures | racing neighbour: %s, mode %o | %d | %zu\n", contest.name, mode, turns, hits.size());
    std::printf("%llu swaps; the kernel's protections: %s\n", static_cast<unsigned long long>(swaps),
                KernelProtections().c_str());
}

std::string NameOfRace(const testing::TestParamInfo<Racing::ParamType>& info) {
    const auto [index, mode] = info.param;
    return std::string(kContests[index].name) + (mode == kSticky ? "InAStickyFolder" : "");
}

INSTANTIATE_TEST_SUITE_P(Against, Racing,
                         testing::Combine(testing::Range(std::size_t{0}, std::size(kContests)),
                                          testing::Values(kOpenToAll, kSticky)),
                         NameOfRace);

}  // namespace
}  // namespace neighbours
