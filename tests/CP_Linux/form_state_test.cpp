// The form's state from its construction to its destruction, as far as it does not show on the screen.
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "CP_Linux/FormFixture.h"
#include "ConfigLib.h"
#include "support/LogRecorder.h"
#include "support/StdoutCapture.h"

namespace {

std::function<void()> g_failure;        // throws in place of the next allocation of an array
std::vector<void*>* g_freed = nullptr;  // where the arrays that are freed are listed

}  // namespace

void* operator new[](std::size_t size) {
    if (g_failure) {
        std::exchange(g_failure, nullptr)();
    }
    if (void* block = std::malloc(size)) {
        return block;
    }
    throw std::bad_alloc();
}

void operator delete[](void* block) noexcept {
    if (g_freed != nullptr) {
        g_freed->push_back(block);
    }
    std::free(block);
}

void operator delete[](void* block, std::size_t /*size*/) noexcept {
    operator delete[](block);
}

namespace {

class FormState : public FormTest {
protected:
    // The construction throws 0 and has left one line in the log.
    void ExpectFailedStart() {
        const test_support::LogRecorder log;
        try {
            MakeForm();
            FAIL() << "the form was made";
        } catch (int thrown) {
            EXPECT_EQ(thrown, 0);
        }
        ASSERT_EQ(log.Texts(), std::vector<std::string>{"Failed to init dialog"});
        EXPECT_EQ(log.Messages()[0].level, LOG_LEVEL_ERROR);
    }
};

TEST_F(FormState, TheWindowIsNamedCpdialog) {
    WithMounts({}, [this] { EXPECT_STREQ(MakeForm().m_windowName, "cpdialog"); });
}

// ---- Records

struct RecorderRow {
    const char* name;
    unsigned int count;
    unsigned int id;
    unsigned int repairedCount;
    unsigned int repairedId;
};

class RecorderNumbers : public FormTest, public testing::WithParamInterface<RecorderRow> {};

TEST_P(RecorderNumbers, AreRepairedInTheRecordsAndTheIndicesFollow) {
    const RecorderRow& row = GetParam();
    WithMounts({}, [&] {
        ConfigFile_GetStructPtr_Global()->uiNodeCount = row.count;
        ConfigFile_GetStructPtr_Local()->uiNodeID = row.id;
        const Dlg form = MakeForm();
        EXPECT_EQ(ConfigFile_GetStructPtr_Global()->uiNodeCount, row.repairedCount);
        EXPECT_EQ(ConfigFile_GetStructPtr_Local()->uiNodeID, row.repairedId);
        EXPECT_EQ(form.m_recorderCountIndex, static_cast<int>(row.repairedCount) - 1);
        EXPECT_EQ(form.m_recorderIdIndex, static_cast<int>(row.repairedId) - 1);
    });
}

INSTANTIATE_TEST_SUITE_P(OfEveryKind, RecorderNumbers,
                         testing::Values(RecorderRow{"InOrder", 4, 2, 4, 2},
                                         RecorderRow{"IdAboveTheNumber", 3, 7, 3, 3},
                                         RecorderRow{"IdOfAllBits", 3, 0xFFFFFFFF, 3, 3},
                                         RecorderRow{"NoNumber", 0, 5, 1, 1}, RecorderRow{"NoId", 3, 0, 3, 1},
                                         RecorderRow{"Neither", 0, 0, 1, 1}),
                         [](const auto& row) { return row.param.name; });

// ---- Drives

TEST_F(FormState, ADriveKeepsTheSpaceThatWasFreeAndMinusOneWhereItCannotBeTold) {
    WithMounts({"/mnt/a", kUnknownMount}, [this] {
        const Dlg form = MakeForm();
        ASSERT_EQ(form.m_drives.size(), 2U);
        EXPECT_EQ(form.m_drives[0].availableSpace, kFreeBytes);
        EXPECT_EQ(form.m_drives[0].label, "/mnt/a (40.00 KB)");
        EXPECT_EQ(form.m_drives[1].availableSpace, -1);
        EXPECT_EQ(form.m_drives[1].label, "/mnt/unknown (-1.00 B)");
    });
}

TEST_F(FormState, TheSummaryIsEmptyAtFirstWithoutDrivesAndOneNulOnceBuilt) {
    WithMounts({}, [this] {
        const Dlg form = MakeForm();
        EXPECT_EQ(form.m_selectedDriveStr, "");
        EXPECT_EQ(form.BuildSelectedDriveStr(), std::string(1, '\0'));
    });
}

TEST_F(FormState, TheSummaryIsOneNulAtFirstWhenNoDriveIsFlagged) {
    WithMounts({"/mnt/a", "/mnt/b"}, [this] { EXPECT_EQ(MakeForm().m_selectedDriveStr, std::string(1, '\0')); });
}

TEST_F(FormState, TheSummaryHasThePathsOfTheFlaggedDrivesAndANulThatCounts) {
    WithMounts({"/mnt/a", "/mnt/b", "/mnt/c"}, [this] {
        const Dlg form = MakeForm();
        form.m_driveSelected[0] = 1;
        form.m_driveSelected[2] = 1;
        EXPECT_EQ(form.BuildSelectedDriveStr(), std::string("/mnt/a; /mnt/c") + '\0');
    });
}

// ---- Failures of the start

TEST_F(FormState, TheDrivesHaveBeenListedWhenTheAutostartStatusCannotBeRead) {
    WithMounts({"/mnt/a"}, [this] {
        const std::string entry = "/etc/xdg/autostart/StartRecordingServer.desktop";
        std::filesystem::create_directories("/etc/xdg/autostart");
        ASSERT_EQ(symlink(entry.c_str(), entry.c_str()), 0);
        const test_support::StdoutCapture output;
        ExpectFailedStart();
        EXPECT_EQ(output.Text(), "found mounted devices: \n/dev/disk : /mnt/a\n");
    });
}

TEST_F(FormState, AnyExceptionWhileTheDrivesAreListedIsLoggedOnceAndBecomesTheIntegerZero) {
    const std::function<void()> failures[] = {[] { throw std::bad_alloc(); }, [] { throw 7; }};
    for (const std::function<void()>& failure : failures) {
        WithMounts({"/mnt/a"}, [&] {
            g_onSpaceAsked = [&] { g_failure = failure; };
            ExpectFailedStart();
            EXPECT_FALSE(g_failure) << "no array was asked for";
        });
    }
}

// ---- The end

// The arrays that the end of the form frees.
std::vector<void*> FreedAtTheEnd(std::unique_ptr<Dlg> form) {
    std::vector<void*> freed;
    g_freed = &freed;
    form.reset();
    g_freed = nullptr;
    return freed;
}

TEST_F(FormState, TheEndFreesTheArraysAndNoTextInThem) {
    WithMounts({"/mnt/a", "/mnt/b"}, [this] {
        std::unique_ptr<Dlg> form(new Dlg(MakeForm()));
        const std::vector<void*> arrays = {form->m_numberLabels, form->m_drivePaths, form->m_driveLabels,
                                           form->m_driveSelected};
        EXPECT_EQ(FreedAtTheEnd(std::move(form)), arrays);
    });
}

TEST_F(FormState, TheEndWithoutDrivesFreesTheNumbersAlone) {
    WithMounts({"/mnt/a"}, [this] {
        std::unique_ptr<Dlg> form(new Dlg(MakeForm()));
        form->m_drives.clear();
        const std::vector<void*> arrays = {form->m_numberLabels};
        EXPECT_EQ(FreedAtTheEnd(std::move(form)), arrays);
    });
}

}  // namespace
