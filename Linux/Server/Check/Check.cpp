#include "Check.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "Apply.h"
#include "Autostart.h"
#include "ConfigLib.h"
#include "DataPath.h"
#include "Diff.h"
#include "DroppedLines.h"
#include "Findings.h"
#include "Input.h"
#include "Loading.h"
#include "PrivateFolder.h"
#include "Records.h"
#include "Worker.h"

namespace {

constexpr char kAfterApply[] = " (after \"Apply\")";

class Check {
public:
    Check(const Options& options, const std::string& folder) : m_options(options), m_folder(folder) {}

    Report Run();

private:
    std::string Before(int file) const { return m_folder + "/before-" + FILE_NAMES[file]; }
    std::string InPlace(int file) const { return PathIn(ConfigFolder(), FILE_NAMES[file]); }
    std::string Shown(int file) const { return PathIn(m_options.directory, FILE_NAMES[file]); }
    bool OwnDirectory() const { return m_options.directory == DEFAULT_DIRECTORY; }

    void LayOutFiles();
    bool Load();
    void TakeValues();
    bool FormOpens();
    void Apply(UntouchedForm& form);
    void CompareFiles(const SavedFiles& saved);
    void CompareRecords(const std::string& general);
    std::vector<std::string> ChangedTagsOf(int file) const;
    void AddNotMounted(const std::vector<std::string> (&tags)[FILES], const std::string& general);
    void LoadWritten();
    void SwitchAutostart();
    void MakeDiffs();
    void Add(const std::vector<Finding>& findings);

    const Options& m_options;
    const std::string& m_folder;
    InputFile m_inputs[FILES];
    std::string m_written[FILES];
    RecordFields m_fields[FILES];
    std::vector<DriveRecord> m_drives;
    NamedSections m_sections;
    bool m_autostartOn = false;
    Report m_report;
};

LoadedFiles FilesToLoad(const InputFile (&inputs)[FILES], const std::string& shown) {
    return {ConfigFolder(), shown, "", {&inputs[FILE_GLOBAL].content, &inputs[FILE_LOCAL].content}};
}

RecordFields FieldsOfLoaded(int file) {
    return file == FILE_GLOBAL ? FieldsOf(*ConfigFile_GetStructPtr_Global())
                               : FieldsOf(*ConfigFile_GetStructPtr_Local());
}

bool Loaded(const FileReport& file) {
    return file.load.value_or(CONFIG_LOAD_FAILED) != CONFIG_LOAD_FAILED;
}

Report Check::Run() {
    m_report.directory = m_options.directory;
    m_drives = DrivesOf(m_options.mountTable, !m_options.ownMountTable);
    LayOutFiles();
    if (OwnDirectory()) {
        m_report.apply.autostart = Autostart::Unchanged;
    }
    if (!Load()) {
        return m_report;
    }
    TakeValues();
    if (!FormOpens()) {
        return m_report;
    }
    UntouchedForm form(m_drives);
    form.Fill();
    m_report.recorder = form.ShownRecorder();
    Apply(form);
    return m_report;
}

void Check::LayOutFiles() {
    SetDataPath(m_folder);
    std::error_code failed;
    std::filesystem::create_directories(ConfigFolder(), failed);
    if (failed) {
        throw NotChecked{NoPlaceSentence("no folder can be made", failed.value())};
    }
    for (int file = 0; file < FILES; ++file) {
        m_inputs[file] = ReadInput(Shown(file));
        LayOut(m_inputs[file], InPlace(file));
        if (m_inputs[file].kind == InputFile::Kind::Special) {
            m_report.findings.push_back(NoRegularFile(m_inputs[file]));
        }
    }
}

bool Check::Load() {
    if (LoadBoth(FilesToLoad(m_inputs, PathIn(m_options.directory, "")), m_report.files)) {
        return true;
    }
    m_report.start = Start::EndlessLoad;
    if (Loaded(m_report.files[FILE_GLOBAL])) {
        m_report.files[FILE_GLOBAL].values = GlobalValues(*ConfigFile_GetStructPtr_Global());
    }
    return false;
}

void Check::TakeValues() {
    if (Loaded(m_report.files[FILE_GLOBAL])) {
        m_report.files[FILE_GLOBAL].values = GlobalValues(*ConfigFile_GetStructPtr_Global());
    }
    if (Loaded(m_report.files[FILE_LOCAL])) {
        m_report.files[FILE_LOCAL].values = LocalValues(*ConfigFile_GetStructPtr_Local());
    }
    for (int file = 0; file < FILES; ++file) {
        m_fields[file] = FieldsOfLoaded(file);
    }
    m_report.storages = StoragesOf(m_drives);
    m_sections = SectionsOfLoaded();
}

bool Check::FormOpens() {
    if (Aborts([this] { UntouchedForm(m_drives).Fill(); })) {
        m_report.start = Start::PathTooLong;
        m_report.findings.push_back(PathTooLong(Shown(FILE_GLOBAL), m_inputs[FILE_GLOBAL].content,
                                                std::strlen(ConfigFile_GetStructPtr_Global()->szGeneralStoragePath)));
        return false;
    }
    if (OwnDirectory()) {
        try {
            m_autostartOn = IsAutostartOn();
        } catch (const std::filesystem::filesystem_error& error) {
            m_report.start = Start::DialogFailed;
            m_report.findings.push_back(DialogFailed(error.code().message()));
            return false;
        }
    }
    return true;
}

void Check::Apply(UntouchedForm& form) {
    const bool accepted = form.Store();
    const std::string general = ConfigFile_GetStructPtr_Global()->szGeneralStoragePath;
    if (!accepted) {
        Add(NotMounted(m_report.storages, general));
        m_report.apply.result = ApplyResult::Refused;
        m_report.findings.push_back(Refused(general));
        return;
    }
    m_report.apply.result = ApplyResult::Saved;
    CompareFiles(SaveRecords());
    LoadWritten();
    CompareRecords(general);
    for (const DroppedLine& line : m_report.apply.dropped) {
        m_report.findings.push_back(Dropped(line));
    }
    SwitchAutostart();
    for (const Finding& message : m_report.apply.nextStart) {
        m_report.findings.push_back(NextStart(message));
    }
    MakeDiffs();
}

void Check::CompareFiles(const SavedFiles& saved) {
    for (int file = 0; file < FILES; ++file) {
        if (!saved[static_cast<std::size_t>(file)]) {
            m_written[file] = m_inputs[file].content;
            m_report.findings.push_back(
                NotWritten(static_cast<FileIndex>(file), m_inputs[file].kind == InputFile::Kind::Folder));
            continue;
        }
        m_written[file] = ReadWritten(InPlace(file));
        m_report.apply.changed[file] =
            m_inputs[file].kind != InputFile::Kind::Regular || m_written[file] != m_inputs[file].content;
        FindDroppedLines(static_cast<FileIndex>(file), m_inputs[file].content, m_written[file], m_sections,
                         m_report.apply.dropped);
    }
}

void Check::LoadWritten() {
    FileReport reports[FILES];
    const LoadedFiles files = {ConfigFolder(),
                               PathIn(m_options.directory, ""),
                               kAfterApply,
                               {&m_written[FILE_GLOBAL], &m_written[FILE_LOCAL]}};
    // One that never ends shows in its message.
    LoadBoth(files, reports);
    for (const FileReport& report : reports) {
        m_report.apply.nextStart.insert(m_report.apply.nextStart.end(), report.messages.begin(), report.messages.end());
    }
}

constexpr char kGeneralTag[] = "GeneralStoragePath";
constexpr char kRecordingTag[] = "RecordingStorage";

bool Contains(const std::vector<std::string>& tags, const char* tag) {
    return std::find(tags.begin(), tags.end(), tag) != tags.end();
}

// For a file that did not load there is nothing to compare with: its storages count as changed with it.
std::vector<std::string> Check::ChangedTagsOf(int file) const {
    if (Loaded(m_report.files[file])) {
        return ChangedTags(m_fields[file], FieldsOfLoaded(file));
    }
    return m_report.apply.changed[file] ? std::vector<std::string>{kGeneralTag, kRecordingTag}
                                        : std::vector<std::string>{};
}

// A storage that is not mounted is a finding only where "Apply" changes its value: a path can be written as it was by
// another drive whose name loads as the same text.
void Check::AddNotMounted(const std::vector<std::string> (&tags)[FILES], const std::string& general) {
    std::vector<Storage> lost;
    for (const Storage& storage : m_report.storages) {
        const bool changes =
            storage.number == 0 ? Contains(tags[FILE_GLOBAL], kGeneralTag) : Contains(tags[FILE_LOCAL], kRecordingTag);
        if (changes) {
            lost.push_back(storage);
        }
    }
    Add(NotMounted(lost, general));
}

// `general` is the general storage that "Apply" has put into the record.
void Check::CompareRecords(const std::string& general) {
    const std::vector<std::string> tags[FILES] = {ChangedTagsOf(FILE_GLOBAL), ChangedTagsOf(FILE_LOCAL)};
    AddNotMounted(tags, general);
    bool generalTold = false;
    bool recordingTold = false;
    for (const Storage& storage : m_report.storages) {
        (storage.number == 0 ? generalTold : recordingTold) |= !storage.mounted;
    }
    for (int file = 0; file < FILES; ++file) {
        const auto index = static_cast<FileIndex>(file);
        if (!Loaded(m_report.files[file])) {
            if (m_report.apply.changed[file]) {
                m_report.findings.push_back(LostFile(index));
            }
            continue;
        }
        for (const std::string& tag : tags[file]) {
            if (!(generalTold && tag == kGeneralTag) && !(recordingTold && tag == kRecordingTag)) {
                m_report.findings.push_back(ChangedValue(index, tag));
            }
        }
    }
}

void Check::SwitchAutostart() {
    if (!OwnDirectory()) {
        return;
    }
    const Autostart autostart = AutostartAfterApply(START_ENTRY, AUTOSTART_ENTRY, m_autostartOn);
    m_report.apply.autostart = autostart;
    if (autostart == Autostart::Emptied || autostart == Autostart::Removed) {
        m_report.findings.push_back(AutostartLost(autostart));
    }
}

void Check::MakeDiffs() {
    if (m_options.json || m_options.quiet) {
        return;
    }
    for (int file = 0; file < FILES; ++file) {
        if (m_report.apply.changed[file]) {
            WriteNewFile(Before(file), m_inputs[file].content);
            m_report.diffs += UnifiedDiff(Before(file), InPlace(file), Shown(file), Shown(file) + kAfterApply);
        }
    }
}

void Check::Add(const std::vector<Finding>& findings) {
    m_report.findings.insert(m_report.findings.end(), findings.begin(), findings.end());
}

}  // namespace

Report RunCheck(const Options& options, const std::string& folder) {
    ConfigLib_Init(0);
    Report report = Check(options, folder).Run();
    ConfigLib_DeInit();
    return report;
}
