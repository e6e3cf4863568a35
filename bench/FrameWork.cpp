// A frame of the form, built and converted, against the bare toolkit calls. Both must give the same vertices.
#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "BareForm.h"
#include "Dlg.h"
#include "Drives.h"
#include "Toolkit.h"
#include "Work.h"

namespace bench {
namespace {

constexpr int kWidth = 700;
constexpr int kHeight = 450;

// The program's form. Its texts are never freed, as in the program.
class OwnForm {
public:
    OwnForm(nk_context* ctx, unsigned int drives) : m_dlg((UseDrives(drives), ctx), kWidth, kHeight, 1.0F) {}
    void Build() { m_dlg.ProcessGui(); }

private:
    Dlg m_dlg;
};

// The bare calls, with the drives' texts.
class Bare {
public:
    Bare(nk_context* ctx, unsigned int drives)
        : m_paths(DrivePaths(drives)), m_labels(DriveLabels(drives)), m_form(ctx, m_paths, m_labels) {}
    void Build() { m_form.Build(); }

private:
    std::vector<std::string> m_paths;
    std::vector<std::string> m_labels;
    BareForm m_form;
};

// While it lives, nothing reaches the standard output: the form lists the drives that it finds.
class Quiet {
public:
    Quiet() { std::cout.setstate(std::ios::failbit); }
    ~Quiet() { std::cout.clear(); }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;
};

enum class Shown { Form, DrivesPopup };

template <typename Form>
class Frames : public Job {
public:
    Frames(Shown shown, unsigned int drives) : m_form(Make(m_context, drives)) {
        Run();
        if (shown == Shown::DrivesPopup) {
            OpenDrives();
        }
    }
    void Run() override {
        toolkit::Frame([] {}, [this] { m_form->Build(); });
    }

    // Size of the vertices of the last frame, and the vertices themselves.
    std::string LastVertices() {
        std::string vertices;
        toolkit::Frame([] {}, [this] { m_form->Build(); });
        vertices.assign(static_cast<const char*>(toolkit::Vertices()), toolkit::kVertexBytes);
        return vertices;
    }

private:
    static std::unique_ptr<Form> Make(toolkit::Context& context, unsigned int drives) {
        const Quiet quiet;
        return std::make_unique<Form>(context.Get(), drives);
    }

    void OpenDrives() {
        struct nk_vec2 place = {};
        bool found = false;
        toolkit::Frame([] {},
                       [&] {
                           m_form->Build();
                           found = toolkit::FindText("Select", &place);
                       });
        const int x = static_cast<int>(place.x);
        const int y = static_cast<int>(place.y);
        for (const int down : {1, 0}) {
            toolkit::Frame(
                [=] {
                    nk_input_motion(&x11.ctx, x, y);
                    nk_input_button(&x11.ctx, NK_BUTTON_LEFT, x, y, down);
                },
                [this] { m_form->Build(); });
        }
        bool open = false;
        for (int turn = 0; turn < 3; ++turn) {
            toolkit::Frame([] {},
                           [&] {
                               m_form->Build();
                               struct nk_vec2 unused = {};
                               open = toolkit::FindText("OK", &unused);
                           });
        }
        if (!found || !open) {
            Fail("the drive popup does not open");
        }
    }

    toolkit::Context m_context;
    std::unique_ptr<Form> m_form;
};

// The bare calls are a fair measure only if they show the same.
void RequireSamePicture(Shown shown, unsigned int drives) {
    std::memset(toolkit::Vertices(), 0, toolkit::kVertexBytes);
    const std::string own = Frames<OwnForm>(shown, drives).LastVertices();
    std::memset(toolkit::Vertices(), 0, toolkit::kVertexBytes);
    if (Frames<Bare>(shown, drives).LastVertices() != own) {
        Fail("the bare form does not show the same");
    }
}

template <typename Form>
void AddFrames(const std::string& name, Shown shown, unsigned int drives) {
    AddWork(name, [shown, drives] { return std::make_unique<Frames<Form>>(shown, drives); });
}

template <typename Form>
void AddCheckedFrames(const std::string& name, Shown shown, unsigned int drives) {
    AddWork(name, [shown, drives] {
        RequireSamePicture(shown, drives);
        return std::make_unique<Frames<Form>>(shown, drives);
    });
}

bool AddAll() {
    constexpr unsigned int kDrives = 3;
    AddFrames<OwnForm>("frame/own", Shown::Form, kDrives);
    AddCheckedFrames<Bare>("frame/bare", Shown::Form, kDrives);
    AddFrames<OwnForm>("frame-popup/own", Shown::DrivesPopup, kDrives);
    AddCheckedFrames<Bare>("frame-popup/bare", Shown::DrivesPopup, kDrives);
    for (const unsigned int drives : {1U, 10U, 100U, 1000U}) {
        AddFrames<OwnForm>("popup-drives/" + std::to_string(drives), Shown::DrivesPopup, drives);
    }
    return true;
}

const bool kAdded = AddAll();

}  // namespace
}  // namespace bench
