// The form by itself, without a window, on a machine with the mounts that a test names.
#pragma once

#include <gtest/gtest.h>
#include <nuklear.h>

#include <functional>
#include <string>
#include <vector>

// The form's state is its own; these tests read and set it.
#ifdef __clang__
#pragma clang diagnostic ignored "-Wkeyword-macro"
#endif
#define private public
#include "Dlg.h"
#undef private

constexpr char kUnknownMount[] = "/mnt/unknown";  // its free space cannot be told
constexpr long long kFreeBytes = 40960;           // on every other mount

class FormTest : public testing::Test {
protected:
    FormTest();
    ~FormTest() override;

    // Runs the checks in a process of their own, with an /etc that has nothing but a mount table of these mount points.
    // The records are as cleared there; what the checks set is gone at their end.
    static void WithMounts(const std::vector<std::string>& mountPoints, const std::function<void()>& checks);

    Dlg MakeForm() { return Dlg(&m_context, 700, 450, 1.0F); }

    nk_context m_context{};
};

// Called, when set, at each question for the free space of a mount: the form is making its list of drives then.
extern std::function<void()> g_onSpaceAsked;
