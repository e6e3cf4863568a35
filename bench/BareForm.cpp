#include "BareForm.h"

namespace bench {
namespace {

constexpr nk_flags kGroup = NK_WINDOW_BORDER | NK_WINDOW_TITLE | NK_WINDOW_SCROLL_AUTO_HIDE | NK_WINDOW_BACKGROUND;
const char* kNumbers[] = {"1", "2", "3", "4", "5", "6", "7", "8"};
const char* kNone[] = {""};
constexpr float kNameRow[] = {0.3F, 0.5F, 0.2F};
constexpr float kCountRow[] = {0.45F, 0.1F, 0.35F};
constexpr float kIdRow[] = {0.2F, 0.1F, 0.5F};
constexpr float kRecordingRow[] = {0.2F, 0.6F, 0.2F};
constexpr float kGeneralRow[] = {0.3F, 0.7F, 0.0F};
constexpr float kServiceRow[] = {0.3F, 0.7F};

// The form's colours; everything else is black and clear.
void SetStyle(nk_context* ctx) {
    nk_color table[NK_COLOR_COUNT] = {};
    const nk_color text = nk_rgb_hex("f0f0f0");
    const nk_color dark = nk_rgb_hex("282828");
    const nk_color light = nk_rgb_hex("404040");
    const nk_color button = nk_rgb_hex("383838");
    for (const auto index : {NK_COLOR_TEXT, NK_COLOR_EDIT_CURSOR}) {
        table[index] = text;
    }
    for (const auto index : {NK_COLOR_TOGGLE, NK_COLOR_SELECT, NK_COLOR_EDIT, NK_COLOR_COMBO, NK_COLOR_SCROLLBAR}) {
        table[index] = dark;
    }
    for (const auto index : {NK_COLOR_HEADER, NK_COLOR_BUTTON_HOVER, NK_COLOR_BUTTON_ACTIVE, NK_COLOR_TOGGLE_HOVER,
                             NK_COLOR_SELECT_ACTIVE}) {
        table[index] = light;
    }
    for (const auto index : {NK_COLOR_BUTTON, NK_COLOR_SCROLLBAR_CURSOR, NK_COLOR_SCROLLBAR_CURSOR_HOVER,
                             NK_COLOR_SCROLLBAR_CURSOR_ACTIVE}) {
        table[index] = button;
    }
    table[NK_COLOR_WINDOW] = nk_rgb_hex("303030");
    table[NK_COLOR_BORDER] = nk_rgba_hex("00000040");
    table[NK_COLOR_TOGGLE_CURSOR] = nk_rgb_hex("004000");
    nk_style_from_table(ctx, table);
    nk_style_push_style_item(ctx, &ctx->style.selectable.normal, nk_style_item_color(nk_rgb_hex("303030")));
    nk_style_push_style_item(ctx, &ctx->style.selectable.hover_active, nk_style_item_color(light));
    nk_style_push_style_item(ctx, &ctx->style.selectable.hover, nk_style_item_color(light));
    nk_style_push_color(ctx, &ctx->style.combo.label_active, button);
}

}  // namespace

BareForm::BareForm(nk_context* ctx, const std::vector<std::string>& drivePaths,
                   const std::vector<std::string>& driveLabels)
    : m_ctx(ctx), m_driveSelected(driveLabels.size(), 0) {
    for (const std::string& path : drivePaths) {
        m_drivePaths.push_back(path.c_str());
    }
    for (const std::string& label : driveLabels) {
        m_driveLabels.push_back(label.c_str());
    }
    SetStyle(ctx);
}

void BareForm::Build() {
    const struct nk_vec2 comboSize = nk_vec2(200.0F, 250.0F);
    if (nk_begin(m_ctx, "cpdialog", nk_rect(0, 0, 700, 450), NK_WINDOW_BORDER) != 0) {
        if (m_showDrives != 0) {
            BuildDrivesPopup();
        }
        BuildTopologyGroup(comboSize);
        BuildStorageGroup(comboSize);
        BuildServiceGroup();
        nk_layout_row_dynamic(m_ctx, 30, 2);
        nk_button_label(m_ctx, "Apply");
        nk_button_label(m_ctx, "Cancel");
    }
    nk_end(m_ctx);
}

void BareForm::BuildTopologyGroup(struct nk_vec2 comboSize) {
    nk_layout_row_dynamic(m_ctx, 160, 1);
    if (nk_group_begin(m_ctx, "Recording system topology", kGroup) == 0) {
        return;
    }
    nk_layout_row(m_ctx, NK_DYNAMIC, 30, 3, kNameRow);
    nk_label(m_ctx, "The Recording System name:", NK_TEXT_LEFT);
    nk_edit_string(m_ctx, NK_EDIT_SIMPLE, m_systemName, &m_systemNameLen, 256, nk_filter_default);
    nk_label(m_ctx, "", NK_TEXT_LEFT);
    nk_layout_row(m_ctx, NK_DYNAMIC, 30, 3, kCountRow);
    nk_label(m_ctx, "The number of the Recorders in the system:", NK_TEXT_LEFT);
    m_recorderCountIndex = nk_combo(m_ctx, kNumbers, 8, m_recorderCountIndex, 32, comboSize);
    nk_label(m_ctx, "", NK_TEXT_LEFT);
    nk_layout_row(m_ctx, NK_DYNAMIC, 30, 3, kIdRow);
    nk_label(m_ctx, "This Recorder ID:", NK_TEXT_LEFT);
    m_recorderIdIndex = nk_combo(m_ctx, kNumbers, m_recorderCountIndex + 1, m_recorderIdIndex, 32, comboSize);
    nk_label(m_ctx, "", NK_TEXT_LEFT);
    nk_group_end(m_ctx);
}

void BareForm::BuildStorageGroup(struct nk_vec2 comboSize) {
    const int drives = static_cast<int>(m_drivePaths.size());
    nk_layout_row_dynamic(m_ctx, 120, 1);
    if (nk_group_begin(m_ctx, "Storage", kGroup) == 0) {
        return;
    }
    nk_layout_row(m_ctx, NK_DYNAMIC, 30, 3, kRecordingRow);
    nk_label(m_ctx, "Recording drives:", NK_TEXT_LEFT);
    nk_label(m_ctx, "", NK_TEXT_LEFT);
    if (nk_button_label(m_ctx, "Select") != 0) {
        m_showDrives = 1;
    }
    nk_layout_row(m_ctx, NK_DYNAMIC, 30, 3, kGeneralRow);
    nk_label(m_ctx, "Path to General Storage:", NK_TEXT_LEFT);
    m_generalStorageIndex =
        nk_combo(m_ctx, drives != 0 ? m_drivePaths.data() : kNone, drives, m_generalStorageIndex, 32, comboSize);
    nk_group_end(m_ctx);
}

void BareForm::BuildServiceGroup() {
    nk_layout_row_dynamic(m_ctx, 100, 1);
    if (nk_group_begin(m_ctx, "Service control", kGroup) == 0) {
        return;
    }
    nk_layout_row(m_ctx, NK_DYNAMIC, 35, 2, kServiceRow);
    nk_label(m_ctx, "Run server at system start:", NK_TEXT_LEFT);
    nk_checkbox_label(m_ctx, m_runServerAtStart != 0 ? "Yes" : "No", &m_runServerAtStart);
    nk_group_end(m_ctx);
}

void BareForm::BuildDrivesPopup() {
    nk_style_push_style_item(m_ctx, &m_ctx->style.window.fixed_background, nk_style_item_color(nk_rgb_hex("404040")));
    if (nk_popup_begin(m_ctx, NK_POPUP_STATIC, "Select drives", 0, nk_rect(175, 64, 350, 322)) != 0) {
        nk_layout_row_dynamic(m_ctx, 32, 1);
        nk_label(m_ctx, "Select drives to use for recordings", NK_TEXT_LEFT);
        nk_layout_row_static(m_ctx, 226, 318, 1);
        nk_style_push_style_item(m_ctx, &m_ctx->style.window.fixed_background,
                                 nk_style_item_color(nk_rgb_hex("303030")));
        if (nk_group_begin(m_ctx, "Group", NK_WINDOW_BORDER) != 0) {
            nk_layout_row_static(m_ctx, 18, 286, 1);
            for (std::size_t i = 0; i < m_driveLabels.size(); ++i) {
                nk_selectable_label(m_ctx, m_driveLabels[i], NK_TEXT_LEFT, &m_driveSelected[i]);
            }
            nk_group_end(m_ctx);
        }
        nk_style_pop_style_item(m_ctx);
        nk_layout_row_dynamic(m_ctx, 32, 2);
        for (const char* button : {"OK", "Cancel"}) {
            if (nk_button_label(m_ctx, button) != 0) {
                m_showDrives = 0;
                nk_popup_close(m_ctx);
            }
        }
        nk_popup_end(m_ctx);
    }
    nk_style_pop_style_item(m_ctx);
}

}  // namespace bench
