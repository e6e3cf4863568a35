// A normal frame allocates nothing of its own: every road to memory is watched over 1,000 frames.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>

#include "Dlg.h"
#include "Drives.h"
#include "Place.h"
#include "Toolkit.h"
#include "Work.h"

namespace {

// Allocations since it was last set to 0, on any thread.
std::atomic<long> g_allocations{0};

}  // namespace

// The link step puts these in front of the C library's functions for all objects of the program; the C++ operators
// below serve the standard library too.
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* memory, std::size_t size);
void* __wrap_malloc(std::size_t size) {
    ++g_allocations;
    return __real_malloc(size);
}
void* __wrap_calloc(std::size_t count, std::size_t size) {
    ++g_allocations;
    return __real_calloc(count, size);
}
void* __wrap_realloc(void* memory, std::size_t size) {
    ++g_allocations;
    return __real_realloc(memory, size);
}
}

void* operator new(std::size_t size) {
    void* memory = std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

void bench::Fail(const std::string& message) {
    ADD_FAILURE() << message;
    std::abort();
}

namespace {

constexpr int kFrames = 1000;
constexpr int kSettling = 10;  // frames in which the toolkit's buffers reach their size
constexpr int kWidth = 700;
constexpr int kHeight = 450;

class FrameAllocationTest : public testing::Test {
protected:
    FrameAllocationTest() : m_dlg((bench::UseDrives(30), m_context.Get()), kWidth, kHeight, 1.0F) { Show(kSettling); }

    void Show(int frames) {
        for (int i = 0; i < frames; ++i) {
            Frame();
        }
    }

    void Frame() {
        toolkit::Frame([] {}, [this] { m_dlg.ProcessGui(); });
    }

    void Point(int x, int y) {
        toolkit::Frame([=] { nk_input_motion(&x11.ctx, x, y); }, [this] { m_dlg.ProcessGui(); });
    }

    void Button(int x, int y, int down) {
        toolkit::Frame([=] { nk_input_button(&x11.ctx, NK_BUTTON_LEFT, x, y, down); }, [this] { m_dlg.ProcessGui(); });
    }

    bool Shows(const std::string& text, struct nk_vec2* place) {
        bool shows = false;
        toolkit::Frame([] {},
                       [&] {
                           m_dlg.ProcessGui();
                           shows = toolkit::FindText(text.c_str(), place);
                       });
        return shows;
    }

    void Click(const std::string& text) {
        struct nk_vec2 place = {};
        ASSERT_TRUE(Shows(text, &place)) << text;
        const int x = static_cast<int>(place.x);
        const int y = static_cast<int>(place.y);
        Point(x, y);
        Button(x, y, 1);
        Button(x, y, 0);
        Show(2);
    }

    // The pointer goes over all of the form, some pixels further in every frame.
    void Sweep() {
        for (int i = 0; i < kFrames; ++i) {
            Point(i * 7 % kWidth, i * 5 % kHeight);
        }
    }

    toolkit::Context m_context;
    Dlg m_dlg;
};

TEST_F(FrameAllocationTest, TheHookSeesEveryRoadToMemory) {
    g_allocations = 0;
    // Volatile, since the compiler may leave out an allocation that it sees unused.
    void* volatile memory = std::malloc(1);
    memory = std::realloc(memory, 2);
    std::free(memory);
    memory = std::calloc(1, 1);
    std::free(memory);
    memory = operator new(1);
    operator delete(memory);
    const std::string text(100, 'x');
    EXPECT_EQ(g_allocations, 5);
}

TEST_F(FrameAllocationTest, AFormAtRestAllocatesNothingInAThousandFrames) {
    g_allocations = 0;
    Show(kFrames);
    EXPECT_EQ(g_allocations, 0);
}

TEST_F(FrameAllocationTest, APointerThatMovesOverTheFormAllocatesNothingInAThousandFrames) {
    Sweep();
    g_allocations = 0;
    Sweep();
    EXPECT_EQ(g_allocations, 0);
}

TEST_F(FrameAllocationTest, AnOpenComboAllocatesNothingInAThousandFrames) {
    Click("/mnt/bench-recordings1");
    struct nk_vec2 unused = {};
    ASSERT_TRUE(Shows("/mnt/bench-recordings2", &unused));
    g_allocations = 0;
    Show(kFrames);
    EXPECT_EQ(g_allocations, 0);
}

TEST_F(FrameAllocationTest, TheDrivePopupAllocatesNothingInAThousandFrames) {
    Click("Select");
    struct nk_vec2 unused = {};
    ASSERT_TRUE(Shows("OK", &unused));
    Sweep();
    g_allocations = 0;
    Sweep();
    EXPECT_EQ(g_allocations, 0);
    ASSERT_TRUE(Shows("OK", &unused));
}

TEST_F(FrameAllocationTest, TypingIntoTheNameAllocatesNothingInAThousandFrames) {
    Click("The Recorder");
    const auto type = [this] {
        for (int i = 0; i < kFrames; ++i) {
            toolkit::Frame(
                [i] {
                    nk_input_key(&x11.ctx, NK_KEY_BACKSPACE, i % 2);
                    if (i % 2 == 0) {
                        nk_input_char(&x11.ctx, 'x');
                    }
                },
                [this] { m_dlg.ProcessGui(); });
        }
    };
    type();
    g_allocations = 0;
    type();
    EXPECT_EQ(g_allocations, 0);
}

}  // namespace
