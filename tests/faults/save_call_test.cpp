// System calls of a save that fail: each file is the old one or the whole new one, and the save's result says which.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "faults/Figures.h"
#include "faults/Stage.h"
#include "faults/Tracer.h"

namespace faults {
namespace {

constexpr int kErrors[] = {EIO, ENOSPC, EDQUOT, EROFS, EACCES, EINTR, ENOMEM, EMFILE};
// A call is interrupted again and again, but not for ever.
constexpr int kInterruptions = 50;
constexpr int kEndlessStops = 60000;  // far more than any save makes

enum class Often { Once, ForGood };

std::string ToString(Often often) {
    return often == Often::Once ? " once" : " for good";
}

// What a call does instead of its work; called at its entry.
using Fault = std::function<void(Tracer&, const CallStop&)>;

// Runs a save with a fault at call `first`, counted from 0, and, for good, at all later calls of the same number. Gives
// the number of that call, or -1 when the save makes fewer calls.
long SaveWithFault(Size size, int first, int times, const Fault& fault, Results& results, std::string& loss) {
    Tracer tracer([&] { LoadAndChange(size, 2); }, [&] { SaveBoth(results); });
    CallStop stop;
    long number = -1;
    int call = 0;
    int left = times;
    for (int stops = 0; tracer.Next(stop); ++stops) {
        if (stops == kEndlessStops) {
            loss = "the save does not end";
            return number;
        }
        if (!stop.entry) {
            continue;
        }
        if (call == first) {
            number = stop.number;
        }
        if (call >= first && stop.number == number && left > 0) {
            fault(tracer, stop);
            --left;
        }
        ++call;
    }
    if (tracer.Finish() != 0) {
        loss = "the process did not end well";
    }
    return number;
}

// The same, judged. What is wrong goes to `loss`; the results are the caller's to look at further.
long JudgedSave(Size size, int first, int times, const Fault& fault, Results& results, std::string& loss) {
    Put(size, 1);
    const long number = SaveWithFault(size, first, times, fault, results, loss);
    if (loss.empty()) {
        loss = LossOf(size, 1, 2, results);
    }
    if (loss.empty()) {
        loss = LossOfNextSave(size, 3);
    }
    return number;
}

// Calls that a signal may interrupt, so that a program has to make them again. Those of names and directories are not
// among them.
bool CanBeInterrupted(long number) {
    constexpr long kCalls[] = {SYS_openat, SYS_open, SYS_write, SYS_writev, SYS_fsync, SYS_fdatasync, SYS_close};
    return std::find(std::begin(kCalls), std::end(kCalls), number) != std::end(kCalls);
}

bool IsSync(long number) {
    return number == SYS_fsync || number == SYS_fdatasync;
}

class SaveCall : public testing::TestWithParam<Size> {
protected:
    // False when the save makes fewer calls.
    bool FailCall(int call, int error, Often often, Figures& figures) {
        const int many = error == EINTR ? kInterruptions : kEndlessStops;
        const SharedResults results;
        std::string loss;
        const long number = JudgedSave(
            GetParam(), call, often == Often::Once ? 1 : many,
            [error](Tracer& tracer, const CallStop&) { tracer.Answer(-error); }, *results, loss);
        if (number < 0) {
            EXPECT_EQ(loss, "");
            return false;
        }
        if (loss.empty() && error == EINTR && CanBeInterrupted(number) && results->global + results->local != 2) {
            loss = "gave up";
        }
        figures.Run(loss.empty() ? ""
                                 : CallName(number) + " " + strerrorname_np(error) + ToString(often) + ": " + loss);
        return true;
    }

    // All writes from a place on take `part` of their bytes. False when the save makes fewer calls.
    bool ShortenWrites(int call, Often often, const std::function<std::uint64_t(std::uint64_t)>& part,
                       Figures& figures) {
        const SharedResults results;
        std::string loss;
        bool isWrite = false;
        const long number = JudgedSave(
            GetParam(), call, often == Often::Once ? 1 : kEndlessStops,
            [&](Tracer& tracer, const CallStop& stop) {
                isWrite = stop.number == SYS_write;
                if (isWrite) {
                    tracer.SetArgument(2, part(stop.arguments[2]));
                }
            },
            *results, loss);
        if (!isWrite) {
            return number >= 0;
        }
        if (loss.empty() && results->global + results->local != 2) {
            loss = "gave up";
        }
        figures.Run(loss);
        return true;
    }

    Mounted m_mounted{"tmpfs", kFolder, "tmpfs", "size=4m"};
};

TEST_P(SaveCall, ThatFailsLeavesTheOldFileOrTheNewOneAndTheResultSaysWhich) {
    Figures figures("system call that fails");
    for (const int error : kErrors) {
        for (const Often often : {Often::Once, Often::ForGood}) {
            int call = 0;
            while (FailCall(call, error, often, figures)) {
                ++call;
            }
            EXPECT_GE(call, 10);
        }
    }
}

TEST_P(SaveCall, ThatWritesFewerBytesIsGoneOnWith) {
    Figures figures("short write");
    const std::function<std::uint64_t(std::uint64_t)> parts[] = {
        [](std::uint64_t) { return 1; },
        [](std::uint64_t count) { return (count + 1) / 2; },
        [](std::uint64_t count) { return std::max<std::uint64_t>(count - 1, 1); },
    };
    for (const auto& part : parts) {
        for (const Often often : {Often::Once, Often::ForGood}) {
            for (int call = 0; ShortenWrites(call, often, part, figures); ++call) {
            }
        }
    }
    EXPECT_GE(figures.Runs(), 12);
}

// No file system does so, but a program must not wait for ever for one that does.
TEST_P(SaveCall, ThatWritesNothingDoesNotHang) {
    Figures figures("write of 0 bytes");
    for (const Often often : {Often::Once, Often::ForGood}) {
        long number = 0;
        for (int call = 0; number >= 0; ++call) {
            const SharedResults results;
            std::string loss;
            bool isWrite = false;
            number = JudgedSave(
                GetParam(), call, often == Often::Once ? 1 : kEndlessStops,
                [&](Tracer& tracer, const CallStop& stop) {
                    isWrite = stop.number == SYS_write;
                    if (isWrite) {
                        tracer.Answer(0);
                    }
                },
                *results, loss);
            if (isWrite) {
                figures.Run(loss);
            }
        }
    }
}

TEST_P(SaveCall, ThatSyncsWhereTheFileSystemCannotIsNoFailure) {
    Figures figures("sync that the file system cannot do");
    for (const int error : {EINVAL, ENOSYS, ENOTSUP}) {
        long number = 0;
        for (int call = 0; number >= 0; ++call) {
            const SharedResults results;
            std::string loss;
            bool isSync = false;
            number = JudgedSave(
                GetParam(), call, kEndlessStops,
                [&](Tracer& tracer, const CallStop& stop) {
                    isSync = IsSync(stop.number);
                    if (isSync) {
                        tracer.Answer(-error);
                    }
                },
                *results, loss);
            if (isSync) {
                figures.Run(results->global + results->local == 2 ? loss : "gave up; " + loss);
            }
        }
    }
}

bool IsRename(long number) {
    return number == SYS_rename || number == SYS_renameat || number == SYS_renameat2;
}

bool IsWrite(long number) {
    return number == SYS_write || number == SYS_writev || number == SYS_pwrite64;
}

// The calls that decide what a power cut leaves: "write", "sync", "rename", each with the name that it is made on, runs
// of equal ones taken as one.
std::vector<std::string> StepsOfASave(Size size) {
    std::vector<std::string> steps;
    const SharedResults results;
    Tracer tracer([&] { LoadAndChange(size, 2); }, [&] { SaveBoth(*results); });
    std::vector<std::string> names(1024);
    std::string opened;
    const auto add = [&](const std::string& step) {
        if (steps.empty() || steps.back() != step) {
            steps.push_back(step);
        }
    };
    CallStop stop;
    while (tracer.Next(stop)) {
        if (stop.number == SYS_openat && stop.entry) {
            opened = tracer.Text(stop.arguments[1]);
        } else if (stop.number == SYS_openat && stop.result >= 0) {
            names.at(static_cast<std::size_t>(stop.result)) = opened;
        } else if (stop.entry && IsWrite(stop.number)) {
            add("write " + names.at(stop.arguments[0]));
        } else if (stop.entry && IsSync(stop.number)) {
            add("sync " + names.at(stop.arguments[0]));
        } else if (stop.entry && IsRename(stop.number)) {
            add("rename " + tracer.Text(stop.arguments[stop.number == SYS_rename ? 0 : 1]));
        }
    }
    tracer.Finish();
    return steps;
}

// The folder's name as it was opened, with or without its closing slash.
std::string WithoutClosingSlash(std::string step) {
    if (step.back() == '/') {
        step.pop_back();
    }
    return step;
}

TEST_P(SaveCall, SyncsTheDataBeforeTheRenameAndTheFolderAfterIt) {
    Put(GetParam(), 1);
    std::vector<std::string> steps = StepsOfASave(GetParam());
    std::transform(steps.begin(), steps.end(), steps.begin(), WithoutClosingSlash);
    EXPECT_EQ(steps,
              (std::vector<std::string>{"write " + kGlobal + ".temp", "sync " + kGlobal + ".temp",
                                        "rename " + kGlobal + ".temp", "sync " + kFolder, "write " + kLocal + ".tmp",
                                        "sync " + kLocal + ".tmp", "rename " + kLocal + ".tmp", "sync " + kFolder}));
}

INSTANTIATE_TEST_SUITE_P(Of, SaveCall, testing::Values(Size::Small, Size::Large),
                         [](const auto& size) { return size.param == Size::Small ? "SmallFiles" : "LargeFiles"; });

}  // namespace
}  // namespace faults
