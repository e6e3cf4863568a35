// Objects that a neighbour has put at the names before the program comes to them: it writes to nothing else, waits for
// nothing, and what it makes is its own.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "neighbours/Objects.h"
#include "neighbours/Run.h"
#include "neighbours/Steps.h"
#include "neighbours/World.h"

namespace neighbours {
namespace {

// What a step must come to: done, or refused with an error number.
constexpr int kDone = 0;
// A hard link: the number of the system for too many links.
constexpr int kTwoNames = EMLINK;
// A FIFO, a socket or a device: the number of the system for a FIFO that nobody reads.
constexpr int kNoFile = ENXIO;

// One object, and what must come of it for each caller, in a folder open to all and in one with the sticky bit.
struct Row {
    Object object;
    int root, rootSticky, other, otherSticky;
};
using Rows = std::vector<Row>;

// A temporary name is cleared and its file made anew. Only the sticky bit keeps another user from that: what is not his
// then stays, and the number says why it cannot be removed or, of a file that he has no right to, why not opened.
const Rows kTemporaryRows = {
    {Object::Nothing, kDone, kDone, kDone, kDone},
    {Object::CallersFile, kDone, kDone, kDone, kDone},
    {Object::RootsFile, kDone, kDone, kDone, EACCES},
    {Object::StrangersFile, kDone, kDone, kDone, EPERM},
    {Object::LinkToRootsFile, kDone, kDone, kDone, EPERM},
    {Object::LinkToCallersFile, kDone, kDone, kDone, EPERM},
    {Object::LinkToMissingFile, kDone, kDone, kDone, EPERM},
    {Object::DanglingLink, kDone, kDone, kDone, EPERM},
    {Object::LoopingLink, kDone, kDone, kDone, EPERM},
    {Object::LinkToFifo, kDone, kDone, kDone, EPERM},
    {Object::LinkToDevice, kDone, kDone, kDone, EPERM},
    {Object::LinkToTerminal, kDone, kDone, kDone, EPERM},
    {Object::HardLinkToRootsFile, kDone, kDone, kDone, EACCES},
    {Object::HardLinkToCallersFile, kDone, kDone, kDone, kDone},
    {Object::Fifo, kDone, kDone, kDone, EPERM},
    {Object::ReadFifo, kDone, kDone, kDone, EPERM},
    {Object::Socket, kDone, kDone, kDone, EPERM},
    {Object::Device, kDone, kDone, kDone, EPERM},
    {Object::EndlessDevice, kDone, kDone, kDone, EPERM},
    {Object::Folder, EISDIR, EISDIR, EISDIR, EISDIR},
    {Object::FullFolder, EISDIR, EISDIR, EISDIR, EISDIR},
    {Object::RootsLink, kDone, kDone, kDone, EPERM},
    {Object::CallersLink, kDone, kDone, kDone, kDone},
};

// A file that is kept and written to: regular, with one name. The caller's and root's own links are followed, also to a
// device.
const Rows kKeptRows = {
    {Object::Nothing, kDone, kDone, kDone, kDone},
    {Object::CallersFile, kDone, kDone, kDone, kDone},
    {Object::RootsFile, kDone, kDone, EACCES, EACCES},
    {Object::StrangersFile, kDone, kDone, kDone, kDone},
    {Object::LinkToRootsFile, ELOOP, ELOOP, ELOOP, ELOOP},
    {Object::LinkToCallersFile, ELOOP, ELOOP, ELOOP, ELOOP},
    {Object::LinkToMissingFile, ELOOP, ELOOP, ELOOP, ELOOP},
    {Object::DanglingLink, ELOOP, ELOOP, ELOOP, ELOOP},
    {Object::LoopingLink, ELOOP, ELOOP, ELOOP, ELOOP},
    {Object::LinkToFifo, ELOOP, ELOOP, ELOOP, ELOOP},
    {Object::LinkToDevice, ELOOP, ELOOP, ELOOP, ELOOP},
    {Object::LinkToTerminal, ELOOP, ELOOP, ELOOP, ELOOP},
    {Object::HardLinkToRootsFile, kTwoNames, kTwoNames, EACCES, EACCES},
    {Object::HardLinkToCallersFile, kTwoNames, kTwoNames, kTwoNames, kTwoNames},
    {Object::Fifo, kNoFile, kNoFile, kNoFile, kNoFile},
    {Object::ReadFifo, kNoFile, kNoFile, kNoFile, kNoFile},
    {Object::Socket, kNoFile, kNoFile, kNoFile, kNoFile},
    {Object::Device, kNoFile, kNoFile, kNoFile, kNoFile},
    {Object::EndlessDevice, kNoFile, kNoFile, kNoFile, kNoFile},
    {Object::Folder, EISDIR, EISDIR, EISDIR, EISDIR},
    {Object::FullFolder, EISDIR, EISDIR, EISDIR, EISDIR},
    {Object::RootsLink, kDone, kDone, kDone, kDone},
    {Object::CallersLink, ELOOP, ELOOP, kDone, kDone},
    {Object::RootsLinkToDevice, kDone, kDone, kDone, kDone},
    {Object::CallersLinkToDevice, ELOOP, ELOOP, kDone, kDone},
    {Object::RootsLinkToTerminal, kDone, kDone, kDone, kDone},
    {Object::RootsLinkToStrangersLink, ELOOP, ELOOP, ELOOP, ELOOP},
    {Object::RootsLinkToHardLink, kTwoNames, kTwoNames, kTwoNames, kTwoNames},
    {Object::HardLinkToRootsLink, ELOOP, ELOOP, ELOOP, ELOOP},
};

// The previous log is taken away and the present one moved there. What stays in its place makes the present log be
// written anew.
constexpr int kAnew = 1;
const Rows kPreviousRows = {
    {Object::Nothing, kDone, kDone, kDone, kDone},
    {Object::CallersFile, kDone, kDone, kDone, kDone},
    {Object::StrangersFile, kDone, kDone, kDone, kAnew},
    {Object::LinkToRootsFile, kDone, kDone, kDone, kAnew},
    {Object::LinkToMissingFile, kDone, kDone, kDone, kAnew},
    {Object::DanglingLink, kDone, kDone, kDone, kAnew},
    {Object::LoopingLink, kDone, kDone, kDone, kAnew},
    {Object::LinkToTerminal, kDone, kDone, kDone, kAnew},
    {Object::HardLinkToRootsFile, kDone, kDone, kDone, kAnew},
    {Object::HardLinkToCallersFile, kDone, kDone, kDone, kDone},
    {Object::Fifo, kDone, kDone, kDone, kAnew},
    {Object::Socket, kDone, kDone, kDone, kAnew},
    {Object::Device, kDone, kDone, kDone, kAnew},
    {Object::Folder, kDone, kDone, kDone, kAnew},
    {Object::FullFolder, kAnew, kAnew, kAnew, kAnew},
    {Object::RootsLink, kDone, kDone, kDone, kAnew},
};

// What is read: only a file has a text. A number is that of the refused opening.
constexpr int kText = -1;
constexpr int kEmpty = -2;
const Rows kReadRows = {
    {Object::Nothing, ENOENT, ENOENT, ENOENT, ENOENT},
    {Object::StrangersFile, kText, kText, kText, kText},
    {Object::HardLinkToCallersFile, kText, kText, kText, kText},
    {Object::RootsLink, kText, kText, kText, kText},
    {Object::LinkToRootsFile, kText, kText, EACCES, EACCES},
    {Object::LinkToMissingFile, ENOENT, ENOENT, ENOENT, ENOENT},
    {Object::LoopingLink, ELOOP, ELOOP, ELOOP, ELOOP},
    {Object::LinkToFifo, kEmpty, kEmpty, kEmpty, kEmpty},
    {Object::LinkToDevice, kEmpty, kEmpty, kEmpty, kEmpty},
    {Object::LinkToTerminal, kEmpty, kEmpty, kEmpty, kEmpty},
    {Object::Fifo, kEmpty, kEmpty, kEmpty, kEmpty},
    {Object::ReadFifo, kEmpty, kEmpty, kEmpty, kEmpty},
    {Object::FedFifo, kEmpty, kEmpty, kEmpty, kEmpty},
    {Object::Device, kEmpty, kEmpty, kEmpty, kEmpty},
    {Object::EndlessDevice, kEmpty, kEmpty, kEmpty, kEmpty},
    {Object::Socket, ENXIO, ENXIO, ENXIO, ENXIO},
    {Object::Folder, kEmpty, kEmpty, kEmpty, kEmpty},
};

// The same for starts of the program: what could keep it from its form.
const Rows kStartRows = {
    {Object::LinkToFifo, kEmpty, kEmpty, kEmpty, kEmpty},
    {Object::LinkToDevice, kEmpty, kEmpty, kEmpty, kEmpty},
    {Object::LinkToTerminal, kEmpty, kEmpty, kEmpty, kEmpty},
    {Object::Fifo, kEmpty, kEmpty, kEmpty, kEmpty},
    {Object::FedFifo, kEmpty, kEmpty, kEmpty, kEmpty},
    {Object::EndlessDevice, kEmpty, kEmpty, kEmpty, kEmpty},
    {Object::Socket, ENXIO, ENXIO, ENXIO, ENXIO},
};

// One case: an object at a name, a caller, a mode of the folder.
struct Case {
    const Row& row;
    uid_t caller;
    mode_t mode;
    int expected;
    Outcome outcome;
    std::vector<std::string> wrong;  // what is not as it must be

    void Expect(bool good, const std::string& what) {
        if (!good) {
            wrong.push_back(what);
        }
    }
};

// What is tried with each object.
struct Step {
    const char* name;
    Outcome (*run)(uid_t caller, Object object);
    std::string target;  // where the object is put
    const Rows& rows;
    void (*prepare)(uid_t caller);       // null: nothing
    std::vector<std::string> mayChange;  // when it is done; empty: the file that the object stands for
    void (*check)(Case& example, const std::string& target);
};

template <int (*Function)()>
Outcome Run(uid_t caller, Object /*object*/) {
    return RunAs(caller, Function);
}

std::string Joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += "\n    " + line;
    }
    return text;
}

// A step that plants its object itself prints this in front of what was reached elsewhere.
const std::string kElsewhere = "elsewhere: ";

// ---- Temporary names

template <const std::string& Final, const std::string& Text>
void CheckSave(Case& example, const std::string& target) {
    if (example.expected != kDone) {
        example.Expect(example.outcome.status == 1, "the save returned true");
        const std::string message =
            kLogged + "Config: Cannot open config file '" + target + "' (" + std::to_string(example.expected) + ")\n";
        example.Expect(example.outcome.output == message, "message: " + example.outcome.output);
        return;
    }
    example.Expect(example.outcome.status == 0, "the save returned false: " + example.outcome.output);
    example.Expect(!World::Exists(target), "the temporary name is still taken");
    if (!World::Exists(Final)) {
        example.Expect(false, "no file was made");
        return;
    }
    const Entry made = World::At(Final);
    example.Expect(S_ISREG(made.mode) && made.links == 1, "no file of its own: " + made.Describe());
    example.Expect(made.owner == example.caller, "the file is somebody else's: " + made.Describe());
    example.Expect(made.content == Text, "the file holds: " + made.content);
}

// ---- The log

// A file in the place of the object that is written to is this one.
std::string WrittenFile(const Case& example, const std::string& target) {
    switch (example.row.object) {
        case Object::RootsLink:
            return kRootsLinkedFile;
        case Object::CallersLink:
            return kCallersLinkedFile;
        case Object::RootsLinkToDevice:
        case Object::RootsLinkToTerminal:
        case Object::CallersLinkToDevice:
            return "";  // keeps nothing
        default:
            return target;
    }
}

std::string CannotCreate(int number) {
    return "Cannot create log file " + kLog + " (" + std::to_string(number) + ")\n";
}

bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

void CheckLog(Case& example, const std::string& target) {
    if (example.expected != kDone) {
        example.Expect(example.outcome.status == 1, "OpenLog succeeded");
        example.Expect(example.outcome.output == CannotCreate(example.expected), "printed: " + example.outcome.output);
        return;
    }
    example.Expect(example.outcome.status == 0, "OpenLog failed: " + example.outcome.output);
    const std::string file = WrittenFile(example, target);
    if (!file.empty() && World::Exists(file)) {
        const std::string text = World::At(file).content;
        const bool kept = example.row.object == Object::Nothing || text.rfind(kVictimText, 0) == 0;
        example.Expect(kept && EndsWith(text, "   -----\n\n" + kFirstLine), "the log holds: " + text);
    }
}

void PrepareLongLog(uid_t caller) {
    World::Write(kLog, "", caller);
    std::filesystem::resize_file(kLog, static_cast<std::uintmax_t>(kLogLimit));
}

void CheckRotation(Case& example, const std::string& target) {
    example.Expect(example.outcome.status == 0, "OpenLog failed: " + example.outcome.output);
    const Entry present = World::At(kLog);
    example.Expect(S_ISREG(present.mode) && present.content == kSecondLine, "the present log: " + present.Describe());
    if (example.expected == kDone) {
        const Entry previous = World::At(target);
        example.Expect(S_ISREG(previous.mode) && EndsWith(previous.content, kFirstLine),
                       "the previous log: " + previous.Describe());
    }
}

// A terminal of an administrator's choice gets the log; nothing else at an end that is held open sees anything, not
// even that it was opened: some devices do things then.
std::vector<std::string> WrongAtTheOtherEnd(const Plant& plant, bool isWritten) {
    std::vector<std::string> wrong;
    const bool arrived = !plant.WhatArrived().empty();
    if (arrived != isWritten) {
        wrong.emplace_back(arrived ? "something arrived at the other end" : "nothing arrived at the other end");
    }
    if (!isWritten && plant.WasOpened()) {
        wrong.emplace_back("the terminal was opened");
    }
    if (plant.HasOtherMode()) {
        wrong.emplace_back("the terminal has another mode");
    }
    return wrong;
}

// Done while the log is open: the previous log becomes one that cannot be replaced, and the present one's name is taken
// by the object. Prints what the rotation then does elsewhere.
Outcome RotateOnto(uid_t caller, Object object) {
    return RunAs(caller, [object] {
        std::optional<Plant> previous;
        std::optional<Plant> present;
        Snapshot before;
        const int status = RotateLog([&] {
            const AsRoot root;
            previous.emplace(Object::FullFolder, kOldLog);
            present.emplace(object, kLog);
            before = World::Look();
        });
        std::printf("\n");  // behind what the log says on the console
        const AsRoot root;
        const std::vector<std::string> mayChange = {kLog, kRootsLinkedFile, kRootsFolder + "/second",
                                                    kCallersLinkedFile};
        for (const std::string& line : Differences(before, World::Look(), mayChange)) {
            std::printf("%s%s\n", kElsewhere.c_str(), line.c_str());
        }
        for (const std::string& line : WrongAtTheOtherEnd(*present, object == Object::RootsLinkToTerminal)) {
            std::printf("%s%s\n", kElsewhere.c_str(), line.c_str());
        }
        return status;
    });
}

void CheckRotationOnto(Case& example, const std::string& target) {
    const std::string& output = example.outcome.output;
    example.Expect(example.outcome.status == 0, "OpenLog failed: " + output);
    const bool refused = output.find(CannotCreate(example.expected)) != std::string::npos;
    example.Expect(refused == (example.expected != kDone), "printed: " + output);
    const std::string file = WrittenFile(example, target);
    if (example.expected == kDone && !file.empty()) {
        const Entry written = World::At(file);
        example.Expect(written.content == kSecondLine, "the new log: " + written.Describe());
    }
    for (const std::string& untouched : {kRootsLinkedFile, kCallersLinkedFile}) {
        example.Expect((example.expected == kDone && file == untouched) || World::Read(untouched) == kVictimText,
                       "written: " + untouched);
    }
}

// ---- Files that are written in place

template <const std::string& Text, const char* Message>
void CheckInPlace(Case& example, const std::string& target) {
    if (example.expected != kDone) {
        example.Expect(example.outcome.status == 1, "the save returned true");
        example.Expect(example.outcome.output == kLogged + Message + " '" + target + "'\n",
                       "message: " + example.outcome.output);
        return;
    }
    example.Expect(example.outcome.status == 0, "the save returned false: " + example.outcome.output);
    const std::string file = WrittenFile(example, target);
    example.Expect(file.empty() || World::Read(file) == Text, "the file was not written");
}

constexpr char kNoDeviceInfo[] = "Config: Cannot open camera config file";
constexpr char kNoDeviceMap[] = "Config: Cannot open Device Map info file";

void CheckAutostart(Case& example, const std::string& target) {
    const bool noForm = example.row.object == Object::LoopingLink;
    example.Expect(example.outcome.status == (noForm ? 1 : 0), "the step did not return");
    const std::string file = WrittenFile(example, target);
    if (example.expected == kDone && !file.empty()) {
        example.Expect(World::Exists(file) && World::Read(file) == kStartEntryText, "the entry was not written");
    }
}

// ---- Reading

// The number that the system gives here for a link that its own protection stands in front of.
int NumberOfRefusal(const Case& example) {
    const bool strangersLink = example.row.object == Object::LinkToRootsFile ||
                               example.row.object == Object::LinkToMissingFile ||
                               example.row.object == Object::LoopingLink;
    return strangersLink && example.mode == kSticky && KernelProtectsLinks() ? EACCES : example.expected;
}

bool KernelRefuses(const Case& example) {
    const bool strangersLink = example.row.object == Object::LinkToRootsFile ||
                               example.row.object == Object::LinkToFifo || example.row.object == Object::LinkToDevice ||
                               example.row.object == Object::LinkToTerminal;
    return strangersLink && example.mode == kSticky && KernelProtectsLinks();
}

void ExpectMessage(Case& example, const std::string& message) {
    example.Expect(example.outcome.output == kLogged + message + "\n", "message: " + example.outcome.output);
}

// A text without any setting, and none at all, give the same message.
template <const char* Complaint>
void CheckLoad(Case& example, const std::string& target) {
    example.Expect(example.outcome.status == 0, "the load returned " + std::to_string(example.outcome.status));
    const bool opened = example.expected < 0 && !KernelRefuses(example);
    const int number = KernelRefuses(example) ? EACCES : NumberOfRefusal(example);
    ExpectMessage(example, opened
                               ? Complaint
                               : "Config: Cannot open config file '" + target + "' (" + std::to_string(number) + ")");
}

constexpr char kNoName[] = "Config: 'ClusterName' is not defined";
constexpr char kNoId[] = "Config: 'NodeID' is not defined";

void CheckLoadDeviceInfo(Case& example, const std::string& target) {
    if (example.expected < 0 && !KernelRefuses(example)) {
        example.Expect(example.outcome.status == 2, "the load returned " + std::to_string(example.outcome.status));
        example.Expect(example.outcome.output.empty(), "message: " + example.outcome.output);
    } else {
        example.Expect(example.outcome.status == 0, "the load returned " + std::to_string(example.outcome.status));
        ExpectMessage(example, std::string(kNoDeviceInfo) + " '" + target + "'");
    }
}

void CheckLoadDeviceMap(Case& example, const std::string& target) {
    const bool opened = example.expected < 0 && !KernelRefuses(example);
    const int wanted = example.expected == kText ? 2 : 0;
    example.Expect(example.outcome.status == wanted, "the load returned " + std::to_string(example.outcome.status));
    const std::string message = kLogged + kNoDeviceMap + " '" + target + "'\n";
    example.Expect(example.outcome.output == (opened ? "" : message), "message: " + example.outcome.output);
}

// ---- The start of the program

constexpr mode_t kLogMode = 0666;

void CheckStart(Case& example, const std::string& target) {
    const std::string& output = example.outcome.output;
    example.Expect(example.outcome.signal == SIGSEGV,
                   "not ended by the missing display, status " + std::to_string(example.outcome.status));
    if (example.expected != kDone) {
        example.Expect(output.find(CannotCreate(example.expected)) != std::string::npos, "printed: " + output);
        return;
    }
    example.Expect(output.find("Cannot create") == std::string::npos, "printed: " + output);
    const std::string file = WrittenFile(example, target);
    if (file.empty() || !World::Exists(file)) {
        return;
    }
    const Entry log = World::At(file);
    example.Expect(example.caller != kRoot || (log.mode & 07777) == kLogMode, "the log's mode: " + log.Describe());
}

void CheckStartOfReading(Case& example, const std::string& /*target*/) {
    example.Expect(example.outcome.signal == SIGSEGV,
                   "not ended by the missing display, status " + std::to_string(example.outcome.status));
}

Outcome Start(uid_t caller, Object /*object*/) {
    return StartProgram(caller);
}

// ---- The table of steps

const Step kSteps[] = {
    {"SaveOfTheGlobalFile",
     Run<SaveGlobal>,
     kGlobalTemporary,
     kTemporaryRows,
     nullptr,
     {kGlobalTemporary, kGlobal},
     CheckSave<kGlobal, kGlobalText>},
    {"SaveOfTheLocalFile",
     Run<SaveLocal>,
     kLocalTemporary,
     kTemporaryRows,
     nullptr,
     {kLocalTemporary, kLocal},
     CheckSave<kLocal, kLocalText>},
    {"OpeningOfTheLog", Run<WriteLog>, kLog, kKeptRows, nullptr, {}, CheckLog},
    {"RotationOntoThePreviousLog",
     Run<RotateLogAlone>,
     kOldLog,
     kPreviousRows,
     PrepareLongLog,
     {kLog, kOldLog},
     CheckRotation},
    {"RotationOntoAnObject", RotateOnto, kLog, kKeptRows, PrepareLongLog, {kLog, kOldLog}, CheckRotationOnto},
    {"SaveOfDeviceInfo",
     Run<SaveDeviceInfo>,
     kCamera,
     kKeptRows,
     nullptr,
     {},
     CheckInPlace<kDeviceInfoText, kNoDeviceInfo>},
    {"SaveOfTheDeviceMap",
     Run<SaveDeviceMap>,
     kMap,
     kKeptRows,
     nullptr,
     {},
     CheckInPlace<kDeviceMapText, kNoDeviceMap>},
    {"SwitchOfTheAutostart", Run<SwitchAutostartOn>, kAutostart, kKeptRows, nullptr, {}, CheckAutostart},
    {"LoadOfTheGlobalFile", Run<LoadGlobal>, kGlobal, kReadRows, nullptr, {}, CheckLoad<kNoName>},
    {"LoadOfTheLocalFile", Run<LoadLocal>, kLocal, kReadRows, nullptr, {}, CheckLoad<kNoId>},
    {"LoadOfDeviceInfo", Run<LoadDeviceInfo>, kCamera, kReadRows, nullptr, {}, CheckLoadDeviceInfo},
    {"LoadOfTheDeviceMap", Run<LoadDeviceMap>, kMap, kReadRows, nullptr, {}, CheckLoadDeviceMap},
    {"StartWithTheLog", Start, kLog, kKeptRows, nullptr, {}, CheckStart},
    {"StartWithTheGlobalFile", Start, kGlobal, kStartRows, nullptr, {kLog}, CheckStartOfReading},
    {"StartWithTheLocalFile", Start, kLocal, kStartRows, nullptr, {kLog}, CheckStartOfReading},
    {"StartWithDeviceInfo", Start, kCamera, kStartRows, nullptr, {kLog}, CheckStartOfReading},
};

bool StepPlants(const Step& step) {
    return step.run == RotateOnto;
}

// What this example may change: nothing when it is refused.
std::vector<std::string> MayChange(const Step& step, const Case& example) {
    if (!step.mayChange.empty()) {
        const bool refusedSave = &step.rows == &kTemporaryRows && example.expected != kDone;
        return refusedSave ? std::vector<std::string>{} : step.mayChange;
    }
    const std::string file = WrittenFile(example, step.target);
    return example.expected == kDone && !file.empty() ? std::vector<std::string>{file} : std::vector<std::string>{};
}

// Whether something else was reached.
bool Hits(const Step& step, Case& example) {
    const World world(example.mode);
    if (step.prepare != nullptr) {
        step.prepare(example.caller);
    }
    std::optional<Plant> plant;
    if (!StepPlants(step)) {
        plant.emplace(example.row.object, step.target);
    }
    const Snapshot before = World::Look();
    example.outcome = step.run(example.caller, example.row.object);
    std::vector<std::string> elsewhere;
    if (!StepPlants(step)) {
        elsewhere = Differences(before, World::Look(), MayChange(step, example));
        const bool entry = step.check == CheckAutostart;
        const bool chosen = example.row.object == Object::RootsLinkToTerminal;
        if (!entry || !chosen) {
            const auto wrong = WrongAtTheOtherEnd(*plant, chosen);
            elsewhere.insert(elsewhere.end(), wrong.begin(), wrong.end());
        } else if (!plant->WhatArrived().empty()) {
            elsewhere.emplace_back("the entry was written to a terminal");
        }
    } else if (example.outcome.output.find(kElsewhere) != std::string::npos) {
        elsewhere.push_back(example.outcome.output);
    }
    example.wrong.insert(example.wrong.end(), elsewhere.begin(), elsewhere.end());
    if (!example.outcome.hung) {
        step.check(example, step.target);
    }
    return !elsewhere.empty();
}

class Planted : public testing::TestWithParam<std::tuple<std::size_t, uid_t, mode_t>> {};

TEST_P(Planted, ReachesNothingElse) {
    const auto [index, caller, mode] = GetParam();
    const Step& step = kSteps[index];
    int hits = 0;
    int hangs = 0;
    int wrong = 0;
    for (const Row& row : step.rows) {
        const bool sticky = mode == kSticky;
        const int expected = caller == kRoot ? (sticky ? row.rootSticky : row.root)
                             : sticky        ? row.otherSticky
                                             : row.other;
        Case example{row, caller, mode, expected, {}, {}};
        hits += Hits(step, example) ? 1 : 0;
        hangs += example.outcome.hung ? 1 : 0;
        wrong += example.wrong.empty() ? 0 : 1;
        EXPECT_FALSE(example.outcome.hung) << NameOf(row.object);
        EXPECT_TRUE(example.wrong.empty()) << NameOf(row.object) << ": " << Joined(example.wrong);
    }
    std::printf("figures | planted objects: %s, by %s, mode %o | %zu | %d\n", step.name,
                caller == kRoot ? "root" : "another user", mode, step.rows.size(), hits + hangs);
    std::printf("%d reached something, %d hung, %d not as told; the kernel's protections: %s\n", hits, hangs, wrong,
                KernelProtections().c_str());
}

std::string NameOfCase(const testing::TestParamInfo<Planted::ParamType>& info) {
    const auto [index, caller, mode] = info.param;
    return std::string(kSteps[index].name) + (caller == kRoot ? "ByRoot" : "ByAnother") +
           (mode == kSticky ? "InAStickyFolder" : "");
}

INSTANTIATE_TEST_SUITE_P(Object, Planted,
                         testing::Combine(testing::Range(std::size_t{0}, std::size(kSteps)),
                                          testing::Values(kRoot, kCaller), testing::Values(kOpenToAll, kSticky)),
                         NameOfCase);

}  // namespace
}  // namespace neighbours
