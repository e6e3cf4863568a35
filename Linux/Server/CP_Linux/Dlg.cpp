#include "Dlg.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <sstream>

#include "ConfigLib.h"
#include "FsHelper.h"
#include "Log.h"
#include "OpenFile.h"

namespace {

// ---- Constants of the form -----------------------------------------------------------------------------------------

const nk_color WINDOW_BACKGROUND_COLOR = nk_rgb_hex("303030");
const nk_color HEADERS_COLOR = nk_rgb_hex("404040");
const nk_color BUTTON_COLOR = nk_rgb_hex("383838");
const nk_color HIGHLIGHT_COLOR = nk_rgb_hex("404040");
const nk_color CONTROL_BACKGROUND_COLOR = nk_rgb_hex("282828");
const nk_color POPUP_BACKGROUND_COLOR = nk_rgb_hex("404040");
const nk_color POPUP_LIST_BACKGROUND_COLOR = nk_rgb_hex("303030");
const nk_color BORDER_COLOR = nk_rgba_hex("00000040");
const nk_color TEXT_DEFAULT_COLOR = nk_rgb_hex("f0f0f0");

constexpr char kStoragesClash[] = "General storage should be set to a different location than the Recording storage.";

constexpr int kMaxRecorders = 8;

constexpr nk_flags kGroupFlags = NK_WINDOW_BORDER | NK_WINDOW_TITLE | NK_WINDOW_SCROLL_AUTO_HIDE | NK_WINDOW_BACKGROUND;

// Logical lengths of the form.
constexpr float kTopologyHeight = 160.0F;
constexpr float kStorageHeight = 120.0F;
constexpr float kServiceHeight = 100.0F;
constexpr float kRowHeight = 30.0F;
constexpr float kServiceRowHeight = 35.0F;
constexpr float kButtonRowHeight = 30.0F;
constexpr float kComboItemHeight = 32.0F;
constexpr float kComboWidth = 200.0F;
constexpr float kComboHeight = 250.0F;

// Shares of a row's width, cell by cell.
constexpr float kNameRow[3] = {0.3F, 0.5F, 0.2F};
constexpr float kCountRow[3] = {0.45F, 0.1F, 0.35F};
constexpr float kIdRow[3] = {0.2F, 0.1F, 0.5F};
constexpr float kRecordingRow[3] = {0.2F, 0.6F, 0.2F};
constexpr float kGeneralRow[3] = {0.3F, 0.7F, 0.0F};  // the third cell stays unfilled
constexpr float kServiceRow[2] = {0.3F, 0.7F};

// The alert popup keeps these on every scale.
constexpr float kAlertY = 64.0F;
constexpr float kAlertWidth = 480.0F;
constexpr float kAlertHeight = 150.0F;
constexpr float kAlertSpaceRow = 25.0F;
constexpr float kAlertTextRow = 50.0F;
constexpr float kAlertButtonRow = 25.0F;

// Logical lengths of the drive popup. What depends on the form's size is the form's less these.
constexpr int kDrivesWidth = 350;
constexpr int kDrivesY = 64;
constexpr int kDrivesHeightLess = 128;
constexpr int kDrivesCaptionHeight = 32;
constexpr int kDrivesListHeightLess = 224;
constexpr int kDrivesListWidth = 318;
constexpr int kDriveRowHeight = 18;
constexpr int kDriveItemWidth = 286;
constexpr int kDrivesButtonHeight = 32;

// ConfigLib's records; null until the form is filled from them.
CONFIGURATION__GLOBAL* g_pGlobal = nullptr;
CONFIGURATION__LOCAL* g_pLocal = nullptr;

// ---- Strings -------------------------------------------------------------------------------------------------------

// A new terminated copy; the caller owns it.
char* ToCharBuff(std::string text) {
    const std::size_t size = std::strlen(text.c_str()) + 1;
    char* copy = new char[size];
    std::memcpy(copy, text.c_str(), size);
    return copy;
}

const char** Items(char** texts) {
    return const_cast<const char**>(texts);
}

void SetColors(nk_context* ctx) {
    struct ColorRow {
        nk_style_colors index;
        nk_color color;
    };
    // Sliders, property widgets, charts and tabs have no colour: the form shows none of them.
    const ColorRow rows[] = {
        {NK_COLOR_TEXT, TEXT_DEFAULT_COLOR},
        {NK_COLOR_WINDOW, WINDOW_BACKGROUND_COLOR},
        {NK_COLOR_HEADER, HEADERS_COLOR},
        {NK_COLOR_BORDER, BORDER_COLOR},
        {NK_COLOR_BUTTON, BUTTON_COLOR},
        {NK_COLOR_BUTTON_HOVER, HIGHLIGHT_COLOR},
        {NK_COLOR_BUTTON_ACTIVE, HIGHLIGHT_COLOR},
        {NK_COLOR_TOGGLE, CONTROL_BACKGROUND_COLOR},
        {NK_COLOR_TOGGLE_HOVER, HIGHLIGHT_COLOR},
        {NK_COLOR_TOGGLE_CURSOR, nk_rgb_hex("004000")},
        {NK_COLOR_SELECT, CONTROL_BACKGROUND_COLOR},
        {NK_COLOR_SELECT_ACTIVE, HIGHLIGHT_COLOR},
        {NK_COLOR_EDIT, CONTROL_BACKGROUND_COLOR},
        {NK_COLOR_EDIT_CURSOR, TEXT_DEFAULT_COLOR},
        {NK_COLOR_COMBO, CONTROL_BACKGROUND_COLOR},
        {NK_COLOR_SCROLLBAR, CONTROL_BACKGROUND_COLOR},
        {NK_COLOR_SCROLLBAR_CURSOR, BUTTON_COLOR},
        {NK_COLOR_SCROLLBAR_CURSOR_HOVER, BUTTON_COLOR},
        {NK_COLOR_SCROLLBAR_CURSOR_ACTIVE, BUTTON_COLOR},
    };
    nk_color table[NK_COLOR_COUNT] = {};
    for (const ColorRow& row : rows) {
        table[row.index] = row.color;
    }
    nk_style_from_table(ctx, table);
}

// Never popped: these hold for the life of the context. The label of a combo that is held down almost vanishes against
// its background, and that is meant.
void PushStyles(nk_context* ctx) {
    nk_style_push_style_item(ctx, &ctx->style.selectable.normal, nk_style_item_color(POPUP_LIST_BACKGROUND_COLOR));
    nk_style_push_style_item(ctx, &ctx->style.selectable.hover_active, nk_style_item_color(HIGHLIGHT_COLOR));
    nk_style_push_style_item(ctx, &ctx->style.selectable.hover, nk_style_item_color(HIGHLIGHT_COLOR));
    nk_style_push_color(ctx, &ctx->style.combo.label_active, BUTTON_COLOR);
}

}  // namespace

// ---- Start and end -------------------------------------------------------------------------------------------------

Dlg::Dlg(nk_context* ctx, int width, int height, float scale)
    : m_ctx(ctx),
      m_windowName("cpdialog"),
      m_width(width),
      m_height(height),
      m_scale(scale),
      m_scaledWidth(static_cast<float>(width) * scale),
      m_scaledHeight(static_cast<float>(height) * scale),
      m_showSelectDrivePopup(0),
      m_showAlertPopup(0),
      m_runServerAtStart(0),
      m_systemName{},
      m_systemNameLen(0),
      m_generalStorageIndex(0),
      m_generalStoragePath{},
      m_generalStoragePathLen(0),
      m_recorderIdIndex(0),
      m_recorderCountIndex(0),
      m_maxRecorders(kMaxRecorders),
      m_driveSelected(nullptr),
      m_numberLabels(nullptr),
      m_driveLabels(nullptr),
      m_drivePaths(nullptr) {
    SetFormDefaults(Fields());
    Init();
}

Dlg::~Dlg() {
    delete[] m_numberLabels;
    if (!m_drives.empty()) {
        delete[] m_drivePaths;
        delete[] m_driveLabels;
        delete[] m_driveSelected;
    }
}

void Dlg::Init() {
    try {
        InitStyles(m_ctx);
        InitDeviceLabels();
        InitUiFromConfig();
        InitDrives();
        m_runServerAtStart = IsAutostartOn() ? 1 : 0;
    } catch (...) {
        Log(LOG_LEVEL_ERROR, "Failed to init dialog");
        throw 0;
    }
}

void Dlg::InitStyles(nk_context* ctx) {
    if (ctx != nullptr) {
        SetColors(ctx);
        PushStyles(ctx);
    }
}

void Dlg::InitDeviceLabels() {
    m_numberLabels = new char*[kMaxRecorders];
    for (int i = 0; i < kMaxRecorders; ++i) {
        m_numberLabels[i] = ToCharBuff(std::to_string(i + 1));
    }
}

FormFields Dlg::Fields() {
    return {m_systemName,
            m_systemNameLen,
            m_generalStorageIndex,
            m_generalStoragePath,
            m_generalStoragePathLen,
            m_recorderIdIndex,
            m_recorderCountIndex,
            m_drives,
            m_driveSelected};
}

// The repairs of the records reach the files only through "Apply".
void Dlg::InitUiFromConfig() {
    g_pGlobal = ConfigFile_GetStructPtr_Global();
    g_pLocal = ConfigFile_GetStructPtr_Local();
    FillForm(Fields(), *g_pGlobal, *g_pLocal);
}

float Dlg::GetScaled(float length) const {
    return length * m_scale;
}

// ---- Drives --------------------------------------------------------------------------------------------------------

void Dlg::InitDrives() {
    CollectDrives();
    if (m_drives.empty()) {
        return;
    }
    MakeDriveTexts();
    FindGeneralStorage(Fields());
    m_driveSelected = new int[m_drives.size()]();
    FindRecordingDrives(Fields(), *g_pLocal);
    m_selectedDriveStr = BuildSelectedDriveStr();
}

void Dlg::CollectDrives() {
    for (const MountItem& mount : GetMounts()) {
        const long long available = GetAvailableSpace(mount.mountPoint.c_str());
        char space[32] = {};
        FormatBytes(available, space);
        std::ostringstream label;
        label << mount.mountPoint << " (" << space << ")";
        m_drives.push_back({label.str(), mount.mountPoint, available});
    }
}

void Dlg::MakeDriveTexts() {
    m_driveLabels = new char*[m_drives.size()];
    m_drivePaths = new char*[m_drives.size()];
    for (std::size_t i = 0; i < m_drives.size(); ++i) {
        m_driveLabels[i] = ToCharBuff(m_drives[i].label);
        m_drivePaths[i] = ToCharBuff(m_drives[i].path);
    }
}

std::string Dlg::BuildSelectedDriveStr() const {
    std::ostringstream text;
    const char* separator = "";
    for (std::size_t i = 0; i < m_drives.size(); ++i) {
        if (m_driveSelected[i] != 0) {
            text << separator << m_drives[i].path;
            separator = "; ";
        }
    }
    text << std::ends;
    return text.str();
}

// ---- The form, frame by frame --------------------------------------------------------------------------------------

void Dlg::ProcessGui() {
    if (m_ctx == nullptr) {
        return;  // the backend did not come up; drawing the frame ends the process
    }
    const struct nk_vec2 comboSize = nk_vec2(GetScaled(kComboWidth), GetScaled(kComboHeight));
    if (nk_begin(m_ctx, m_windowName, nk_rect(0, 0, m_scaledWidth, m_scaledHeight), NK_WINDOW_BORDER) != 0) {
        // Ahead of every row of the form: the rows behind an open popup are read-only.
        BuildPopups();
        BuildTopologyGroup(comboSize);
        BuildStorageGroup(comboSize);
        BuildServiceGroup();
        BuildButtons();
    }
    nk_end(m_ctx);
}

void Dlg::BuildPopups() {
    if (m_showSelectDrivePopup == 0 && m_showAlertPopup == 0) {
        return;
    }
    nk_style_push_style_item(m_ctx, &m_ctx->style.window.fixed_background, nk_style_item_color(POPUP_BACKGROUND_COLOR));
    m_showSelectDrivePopup = BuildSelectDrivePopup(m_showSelectDrivePopup);
    m_showAlertPopup = BuildAlertPopup(m_showAlertPopup);
    nk_style_pop_style_item(m_ctx);
}

void Dlg::BuildFormRow(float height, const float (&ratios)[3]) {
    nk_layout_row(m_ctx, NK_DYNAMIC, GetScaled(height), 3, ratios);
}

void Dlg::BuildNameField() {
    nk_edit_string(m_ctx, NK_EDIT_SIMPLE, m_systemName, &m_systemNameLen, sizeof m_systemName, nk_filter_default);
}

// A combo of the first `count` number labels. A number above the labels, from a bigger system, shows as it is, is not
// in the list and is kept as long as the user picks no other.
int Dlg::BuildNumberCombo(int count, int index, struct nk_vec2 comboSize) {
    const int listed = std::min(count, kMaxRecorders);
    const int itemHeight = static_cast<int>(GetScaled(kComboItemHeight));
    if (index < kMaxRecorders) {
        return nk_combo(m_ctx, Items(m_numberLabels), listed, index, itemHeight, comboSize);
    }
    char number[16];
    std::snprintf(number, sizeof number, "%d", index + 1);
    const char* items[kMaxRecorders + 1];
    std::copy(m_numberLabels, m_numberLabels + kMaxRecorders, items);
    items[kMaxRecorders] = number;
    const int picked = nk_combo(m_ctx, items, listed, kMaxRecorders, itemHeight, comboSize);
    return picked == kMaxRecorders ? index : picked;
}

// Without a drive there is nothing to show, and the index comes back unchanged.
int Dlg::BuildDriveCombo(struct nk_vec2 comboSize) {
    static const char* noItems[] = {""};
    return nk_combo(m_ctx, m_drives.empty() ? noItems : Items(m_drivePaths), static_cast<int>(m_drives.size()),
                    m_generalStorageIndex, static_cast<int>(GetScaled(kComboItemHeight)), comboSize);
}

void Dlg::BuildTopologyGroup(struct nk_vec2 comboSize) {
    nk_layout_row_dynamic(m_ctx, GetScaled(kTopologyHeight), 1);
    if (nk_group_begin(m_ctx, "Recording system topology", kGroupFlags) == 0) {
        return;
    }
    BuildFormRow(kRowHeight, kNameRow);
    nk_label(m_ctx, "The Recording System name:", NK_TEXT_LEFT);
    BuildNameField();
    nk_label(m_ctx, "", NK_TEXT_LEFT);

    BuildFormRow(kRowHeight, kCountRow);
    nk_label(m_ctx, "The number of the Recorders in the system:", NK_TEXT_LEFT);
    m_recorderCountIndex = BuildNumberCombo(kMaxRecorders, m_recorderCountIndex, comboSize);
    nk_label(m_ctx, "", NK_TEXT_LEFT);

    // The list follows the number just chosen; an ID above it stays until the user picks another.
    BuildFormRow(kRowHeight, kIdRow);
    nk_label(m_ctx, "This Recorder ID:", NK_TEXT_LEFT);
    m_recorderIdIndex = BuildNumberCombo(m_recorderCountIndex + 1, m_recorderIdIndex, comboSize);
    nk_label(m_ctx, "", NK_TEXT_LEFT);
    nk_group_end(m_ctx);
}

void Dlg::BuildStorageGroup(struct nk_vec2 comboSize) {
    nk_layout_row_dynamic(m_ctx, GetScaled(kStorageHeight), 1);
    if (nk_group_begin(m_ctx, "Storage", kGroupFlags) == 0) {
        return;
    }
    BuildFormRow(kRowHeight, kRecordingRow);
    nk_label(m_ctx, "Recording drives:", NK_TEXT_LEFT);
    nk_label(m_ctx, m_selectedDriveStr.c_str(), NK_TEXT_LEFT);
    if (nk_button_label(m_ctx, "Select") != 0) {
        m_showSelectDrivePopup = 1;
    }

    BuildFormRow(kRowHeight, kGeneralRow);
    nk_label(m_ctx, "Path to General Storage:", NK_TEXT_LEFT);
    m_generalStorageIndex = BuildDriveCombo(comboSize);
    nk_group_end(m_ctx);
}

void Dlg::BuildServiceGroup() {
    nk_layout_row_dynamic(m_ctx, GetScaled(kServiceHeight), 1);
    if (nk_group_begin(m_ctx, "Service control", kGroupFlags) == 0) {
        return;
    }
    nk_layout_row(m_ctx, NK_DYNAMIC, GetScaled(kServiceRowHeight), 2, kServiceRow);
    nk_label(m_ctx, "Run server at system start:", NK_TEXT_LEFT);
    // Chosen ahead of the call: after a click the new word shows from the next frame on.
    const char* state = m_runServerAtStart != 0 ? "Yes" : "No";
    nk_checkbox_label(m_ctx, state, &m_runServerAtStart);
    nk_group_end(m_ctx);
}

void Dlg::BuildButtons() {
    nk_layout_row_dynamic(m_ctx, GetScaled(kButtonRowHeight), 2);
    if (nk_button_label(m_ctx, "Apply") != 0) {
        OnApplyButtonClicked();
    }
    if (nk_button_label(m_ctx, "Cancel") != 0) {
        std::exit(0);
    }
}

// Not scaled, and placed by the logical width: the alert keeps its size on every screen, and that is meant.
int Dlg::BuildAlertPopup(int show) const {
    if (show == 0) {
        return 0;
    }
    static const struct nk_rect s = {(static_cast<float>(m_width) - kAlertWidth) * 0.5F, kAlertY, kAlertWidth,
                                     kAlertHeight};
    if (nk_popup_begin(m_ctx, NK_POPUP_STATIC, "Alert", 0, s) == 0) {
        return 0;
    }
    int result = 1;
    nk_layout_row_dynamic(m_ctx, kAlertSpaceRow, 1);
    nk_layout_row_dynamic(m_ctx, kAlertTextRow, 1);
    nk_label_wrap(m_ctx, m_alertText.c_str());
    nk_layout_row_dynamic(m_ctx, kAlertButtonRow, 1);
    if (nk_button_label(m_ctx, "OK") != 0) {
        result = 0;
        nk_popup_close(m_ctx);
    }
    nk_popup_end(m_ctx);
    return result;
}

// The rows switch the flags at once; "Cancel" does not take that back, only the summary stays as it was.
int Dlg::BuildSelectDrivePopup(int show) const {
    if (show == 0) {
        return 0;
    }
    const auto scaled = [this](int length) { return GetScaled(static_cast<float>(length)); };
    static const struct nk_rect s = {scaled((m_width - kDrivesWidth) / 2), scaled(kDrivesY), scaled(kDrivesWidth),
                                     scaled(m_height - kDrivesHeightLess)};
    if (nk_popup_begin(m_ctx, NK_POPUP_STATIC, "Select drives", 0, s) == 0) {
        return 0;
    }
    nk_layout_row_dynamic(m_ctx, scaled(kDrivesCaptionHeight), 1);
    nk_label(m_ctx, "Select drives to use for recordings", NK_TEXT_LEFT);
    nk_layout_row_static(m_ctx, scaled(m_height - kDrivesListHeightLess), static_cast<int>(scaled(kDrivesListWidth)),
                         1);
    BuildDriveList();
    nk_layout_row_dynamic(m_ctx, scaled(kDrivesButtonHeight), 2);
    int result = 1;
    if (nk_button_label(m_ctx, "OK") != 0) {
        m_selectedDriveStr = BuildSelectedDriveStr();
        result = 0;
        nk_popup_close(m_ctx);
    }
    if (nk_button_label(m_ctx, "Cancel") != 0) {
        result = 0;
        nk_popup_close(m_ctx);
    }
    nk_popup_end(m_ctx);
    return result;
}

// Darker than the popup around it.
void Dlg::BuildDriveList() const {
    nk_style_push_style_item(m_ctx, &m_ctx->style.window.fixed_background,
                             nk_style_item_color(POPUP_LIST_BACKGROUND_COLOR));
    if (nk_group_begin(m_ctx, "Group", NK_WINDOW_BORDER) != 0) {
        nk_layout_row_static(m_ctx, GetScaled(kDriveRowHeight), static_cast<int>(GetScaled(kDriveItemWidth)), 1);
        for (std::size_t i = 0; i < m_drives.size(); ++i) {
            nk_selectable_label(m_ctx, m_driveLabels[i], NK_TEXT_LEFT, &m_driveSelected[i]);
        }
        nk_group_end(m_ctx);
    }
    nk_style_pop_style_item(m_ctx);
}

// ---- Apply ---------------------------------------------------------------------------------------------------------

void Dlg::OnApplyButtonClicked() {
    StoreTopology(Fields(), *g_pGlobal, *g_pLocal);
    StoreStorages(Fields(), *g_pGlobal, *g_pLocal);
    if (!CheckIfStoragesValid()) {
        m_alertText = kStoragesClash;
        m_showAlertPopup = 1;
        return;
    }
    SwitchAutostart();
    // What cannot be saved is in the log; the process ends all the same.
    ConfigLib_Save_Global(g_pGlobal);
    ConfigLib_Save_Local(g_pLocal);
    ConfigLib_DeInit();
    std::exit(0);
}

bool Dlg::CheckIfStoragesValid() const {
    return AreStoragesValid(m_drives, m_driveSelected, *g_pGlobal);
}

namespace {

// Copies all that can be read and written.
void CopyBytes(int source, int destination) {
    char block[4096];
    ssize_t count = 0;
    do {
        count = read(source, block, sizeof block);
    } while ((count < 0 && errno == EINTR) ||
             (count > 0 && WriteAll(destination, block, static_cast<std::size_t>(count))));
}

}  // namespace

// Intended: no step's result is looked at. A source that cannot be read leaves an empty entry, which counts as "Yes".
void Dlg::SwitchAutostart() const {
    if (m_runServerAtStart == 0) {
        (void)unlink(AUTOSTART_ENTRY);
        return;
    }
    const int source = OpenToRead(START_ENTRY);
    const int destination = OpenEntryFile(AUTOSTART_ENTRY);
    CopyBytes(source, destination);
    (void)close(destination);
    (void)close(source);
}
