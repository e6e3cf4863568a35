// Memory that runs out while files are loaded and saved: each file is the old one or the whole new one. An exception
// may end the process, as it may of any client that does not catch it.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <atomic>
#include <new>
#include <string>

#include "faults/AllocationFaults.h"
#include "faults/Figures.h"
#include "faults/Stage.h"

namespace faults {
namespace {

constexpr int kThrown = 2;  // status of a child that an exception has ended

bool LoadWithFaults() {
    const AllocationFaults faults;
    return Load();
}

void SaveWithFaults(Results& results) {
    const AllocationFaults faults;
    SaveBoth(results);
}

// Loads and, where both files are clean, saves. Gives how many allocations that took, in `started`.
void LoadAndSave(Size size, int first, Failing failing, Results& results) {
    FailAllocation(first, failing);
    if (LoadWithFaults()) {
        Change(size, 2);
        SaveWithFaults(results);
    }
    results.started = CountedAllocations();
}

class SaveMemory : public testing::TestWithParam<Size> {
protected:
    // False when load and save make fewer allocations.
    bool FailOne(int first, Failing failing, Figures& figures) {
        Put(GetParam(), 1);
        const SharedResults results;
        const int status = RunChild([&] { LoadAndSave(GetParam(), first, failing, *results); });
        const bool thrown = WIFEXITED(status) && WEXITSTATUS(status) == kThrown;
        std::string loss = status == 0 || thrown ? "" : "the process did not end well";
        if (status == 0 && results->started <= first) {
            EXPECT_EQ(LossOf(GetParam(), 2, 2, *results), "");
            return false;
        }
        loss += LossOf(GetParam(), 1, 2, *results);
        figures.Run(loss.empty() ? LossOfNextSave(GetParam(), 2) : std::to_string(first) + ": " + loss);
        return true;
    }

    Mounted m_mounted{"tmpfs", kFolder, "tmpfs", "size=4m"};
};

TEST_P(SaveMemory, ThatRunsOutAtAnyAllocationOfLoadAndSaveLosesNothing) {
    Figures figures("failing allocation");
    for (const Failing failing : {Failing::Once, Failing::ForGood}) {
        int allocation = 0;
        while (FailOne(allocation, failing, figures)) {
            ++allocation;
        }
        EXPECT_GT(allocation, 3);
    }
}

INSTANTIATE_TEST_SUITE_P(Of, SaveMemory, testing::Values(Size::Small, Size::Large),
                         [](const auto& size) { return size.param == Size::Small ? "SmallFiles" : "LargeFiles"; });

}  // namespace
}  // namespace faults
