// The real program, killed while "Apply" saves: each file is wholly old or wholly new, and a later "Apply" succeeds
// whatever lies beside them.
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <chrono>
#include <csignal>
#include <memory>
#include <random>
#include <string>

#include "Scenario.h"
#include "faults/Figures.h"
#include "faults/Tracer.h"

// After the others: they use names that these define.
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

namespace gui {
namespace {

using faults::CallStop;
using faults::Figures;
using faults::Tracer;
using Clock = std::chrono::steady_clock;

const std::string kDrive = "/mnt/a";

// "Apply" with nothing changed in the form writes the files without these lines.
const std::string kComment = "# written by hand\n";
const std::string kNewGlobal = GlobalFile("Site A", 3, kDrive);
const std::string kNewLocal = LocalFile(2, {});

void PutOldFiles(Machine& machine) {
    machine.Global(kComment + kNewGlobal);
    machine.Local(kComment + kNewLocal);
}

std::string LossOf(const std::string& path, const std::string& bytes, const std::string& fresh) {
    if (bytes == fresh || bytes == kComment + fresh) {
        return "";
    }
    return path + " has " + std::to_string(bytes.size()) + " bytes, neither the old nor the new; ";
}

std::string LossOnDisk(const Machine& machine) {
    return LossOf(place::kGlobal, machine.Exists(place::kGlobal) ? machine.Global() : "", kNewGlobal) +
           LossOf(place::kLocal, machine.Exists(place::kLocal) ? machine.Local() : "", kNewLocal);
}

void SendButton(Session& session, bool pressed) {
    XTestFakeButtonEvent(session.Connection(), 1, pressed ? True : False, CurrentTime);
    XSync(session.Connection(), False);
}

bool TouchesTemporaryFile(const Tracer& tracer, const CallStop& stop) {
    const std::string name = place::kGlobal + ".temp";
    return stop.entry && ((stop.number == SYS_openat && tracer.Text(stop.arguments[1]) == name) ||
                          (stop.number == SYS_unlinkat && tracer.Text(stop.arguments[1]) == name) ||
                          (stop.number == SYS_unlink && tracer.Text(stop.arguments[0]) == name));
}

// Runs on to the first call of the saves. False when the program ends without one.
bool RunToTheSaves(Tracer& tracer) {
    CallStop stop;
    while (tracer.Next(stop)) {
        if (TouchesTemporaryFile(tracer, stop)) {
            return true;
        }
    }
    return false;
}

// Presses "Apply" and hands over a program that stands at the first call of the saves.
class AppliedSession {
public:
    explicit AppliedSession(Machine& machine) : m_session(machine) {
        m_session.MoveTo(m_session.At().apply);
        m_tracer = std::make_unique<Tracer>(m_session.Run().Id());
        SendButton(m_session, true);
        m_saves = RunToTheSaves(*m_tracer);
    }

    ~AppliedSession() { SendButton(m_session, false); }
    AppliedSession(const AppliedSession&) = delete;
    AppliedSession& operator=(const AppliedSession&) = delete;

    bool Saves() const { return m_saves; }
    Tracer& Trace() { return *m_tracer; }
    void Kill() { kill(m_session.Run().Id(), SIGKILL); }
    // Lets it run untraced.
    void Release() { m_tracer.reset(); }
    Ending End() {
        m_tracer.reset();
        return m_session.End();
    }

private:
    Session m_session;
    std::unique_ptr<Tracer> m_tracer;
    bool m_saves = false;
};

bool EndsASave(long number) {
    return number == SYS_rename || number == SYS_renameat || number == SYS_renameat2 || number == SYS_fsync;
}

// Stops of the saves in a whole "Apply".
int CountStops(Machine& machine) {
    AppliedSession session(machine);
    CallStop stop;
    int stops = 1;
    int last = 1;
    while (session.Trace().Next(stop)) {
        ++stops;
        last = EndsASave(stop.number) ? stops : last;
    }
    EXPECT_TRUE(EndedWell(session.End()));
    EXPECT_EQ(machine.Global(), kNewGlobal);
    EXPECT_EQ(machine.Local(), kNewLocal);
    return last;
}

// Both give false when the program ended before.
bool KillAtStop(Machine& machine, int stop) {
    AppliedSession session(machine);
    CallStop at;
    bool there = session.Saves();
    for (int i = 0; there && i < stop; ++i) {
        there = session.Trace().Next(at);
    }
    session.Kill();
    return session.End().signal == SIGKILL && there;
}

bool KillAfter(Machine& machine, std::chrono::nanoseconds moment) {
    AppliedSession session(machine);
    const bool there = session.Saves();
    session.Release();
    const auto begin = Clock::now();
    while (Clock::now() - begin < moment) {
    }
    session.Kill();
    return session.End().signal == SIGKILL && there;
}

TEST(ApplyKill, DuringTheSavesLeavesEachFileOldOrNew) {
    constexpr long kLongest = 200'000;  // nanoseconds; about what the saves take
    Figures figures("kill -9 of the program during Apply");
    Machine machine;
    machine.Drives({kDrive});
    PutOldFiles(machine);
    const int stops = CountStops(machine);
    const int wanted = faults::RunsFor("VESMARA_FAULT_APPLIES", 6);
    std::mt19937_64 random(std::random_device{}());
    for (int tries = 0; figures.Runs() < wanted && tries < 5 * wanted; ++tries) {
        // The temporary files stay from one to the next.
        PutOldFiles(machine);
        const bool killed = tries % 2 == 0
                                ? KillAtStop(machine, static_cast<int>(random() % static_cast<unsigned long>(stops)))
                                : KillAfter(machine, std::chrono::nanoseconds(static_cast<long>(random() % kLongest)));
        if (killed) {
            figures.Run(LossOnDisk(machine));
        } else {
            EXPECT_EQ(LossOnDisk(machine), "");
        }
    }
    EXPECT_EQ(figures.Runs(), wanted);
    Session session(machine, kFullHd);
    ApplyAndEnd(session);
    EXPECT_EQ(machine.Global(), kNewGlobal);
    EXPECT_EQ(machine.Local(), kNewLocal);
}

}  // namespace
}  // namespace gui
