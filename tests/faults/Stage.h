// Where the saves under test take place: the fixed configuration folder, in mounts and processes of this program's own,
// with files whose bytes are known in each of their versions.
#pragma once

#include <atomic>
#include <functional>
#include <string>

namespace faults {

inline const std::string kFolder = "/etc/Orvan/Config/Server";
inline const std::string kGlobal = kFolder + "/global.cfg";
inline const std::string kLocal = kFolder + "/local.cfg";

// Moves on to a child process whose mounts and processes are seen by nobody else and end with it, however it ends; /etc
// is an empty file system in memory there, /run another one. Runs the function in it and gives its result. Needs root.
// Throws std::runtime_error where the machine allows no such process.
int RunInPrivateSystem(const std::function<int()>& function);

// A file system on the folder, which is created where it is missing and open to everybody as the program leaves it.
// Unmounted at the end of its life. Throws std::runtime_error when it cannot be mounted.
class Mounted {
public:
    Mounted(const std::string& device, const std::string& folder, const std::string& type, const std::string& options);
    ~Mounted();
    Mounted(const Mounted&) = delete;
    Mounted& operator=(const Mounted&) = delete;

    // Unmounts now, so that everything is on the device. Returns whether it could be.
    bool Leave();

private:
    std::string m_folder;
    bool m_mounted = true;
};

// Small files are as long as those of an everyday system, some hundred bytes; large ones fill several pages and, of the
// local file, more than any buffer.
enum class Size { Small, Large };

// The exact bytes of both files in a version. Each version differs from every other in many places and in its length.
std::string GlobalText(Size size, unsigned version);
std::string LocalText(Size size, unsigned version);

// Puts both files of a version in the folder, without the code under test. Beside large ones lie temporary files that
// an earlier save left, beside small ones none.
void Put(Size size, unsigned version);
void RemoveTemporaryFiles();

// Loads both files. False unless both are clean.
bool Load();

// Makes the loaded records those of a version: what the form edits changes, everything else is carried.
void Change(Size size, unsigned version);

// Both in one. Throws std::runtime_error when the files do not load.
void LoadAndChange(Size size, unsigned version);

// What a save in a child process tells, in memory that both see: telling costs no system call.
struct Results {
    static constexpr int kUnknown = -1;
    std::atomic<int> started{0};
    std::atomic<int> global{kUnknown};  // then 0 or 1
    std::atomic<int> local{kUnknown};
    std::atomic<int> ended{0};
    std::atomic<long> nanoseconds{0};  // that both saves took
};

// Saves both records, as "Apply" does.
void SaveBoth(Results& results);

// Memory for results, shared with every child made later.
class SharedResults {
public:
    SharedResults();
    ~SharedResults();
    SharedResults(const SharedResults&) = delete;
    SharedResults& operator=(const SharedResults&) = delete;

    Results& operator*() const { return *m_results; }
    Results* operator->() const { return m_results; }
    void Clear();

private:
    Results* m_results;
};

// Compares both files with their old and new bytes and with the results. Empty when each is whole and each known result
// says which it is; otherwise what is wrong.
std::string LossOf(Size size, unsigned oldVersion, unsigned newVersion, const Results& results);

// Saves a version without a fault. Empty when both saves succeed and both files then hold it: nothing that the faults
// before left behind is in the way.
std::string LossOfNextSave(Size size, unsigned version);

// Runs the function in a child process and waits for its end. Gives what waitpid says of it. The child ends by signal
// SIGALRM when it takes too long.
int RunChild(const std::function<void()>& function);

// Starts the function in a child process that the caller waits for.
int StartChild(const std::function<void()>& function);

}  // namespace faults
