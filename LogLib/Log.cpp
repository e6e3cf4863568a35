#include "Log.h"

#include <dlfcn.h>
#include <link.h>
#include <signal.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <thread>

#include "FormatText.h"
#include "OpenFile.h"
#include "OsLayer.h"

namespace {

constexpr std::uint64_t kRingSize = 16384;  // bytes
static_assert((kRingSize & (kRingSize - 1)) == 0, "a position is the counter masked with the size minus 1");

constexpr std::int64_t kRotateAbove = 4194304;  // bytes, 4 MiB
constexpr unsigned int kThreadEndLimit = 2000;  // milliseconds that CloseLog waits for the thread
constexpr int kBelowNormalPriority = -1;        // one step
constexpr std::size_t kMessageSize = 1024;      // prefix, text and terminator
constexpr char kErrorPrefix[] = "ERROR: ";
constexpr std::size_t kErrorPrefixLength = sizeof kErrorPrefix - 1;
constexpr char kPresentEnding[] = ".txt";
constexpr char kPreviousEnding[] = ".old";
constexpr char kUnreadableText[] = "Cannot read config file";
constexpr unsigned int kUnknownFileSize = 256;  // bytes taken for a file that does not tell its size
constexpr std::size_t kPathSize = sizeof g_szConfigPath + sizeof g_szLogFileName + sizeof kPresentEnding;

// Who may use the two output streams. exit() can run while the log thread is alive, and stdio's closing does not keep
// off streams that another thread is writing to; so at exit the streams are taken away from the log thread.
enum class Outputs : int { Free, InUse, TakenAtExit };
std::atomic<Outputs> g_outputs{Outputs::Free};

// Longest that exit() waits for the chunk being written. An output that takes no more text must not hold up the end.
constexpr auto kExitPatience = std::chrono::milliseconds(200);

bool AcquireOutputs() {
    Outputs expected = Outputs::Free;
    return g_outputs.compare_exchange_strong(expected, Outputs::InUse);
}

void ReleaseOutputs() {
    Outputs expected = Outputs::InUse;
    g_outputs.compare_exchange_strong(expected, Outputs::Free);
}

// Runs at exit() with its status. When the log thread is stuck in an output, nothing of stdio may run any more: it
// would wait for the thread's lock or write where the thread cannot. The process then ends here.
void TakeOutputsAtExit(int status, void* /*unused*/) {
    const auto deadline = std::chrono::steady_clock::now() + kExitPatience;
    Outputs expected = Outputs::Free;
    while (!g_outputs.compare_exchange_strong(expected, Outputs::TakenAtExit)) {
        if (std::chrono::steady_clock::now() >= deadline) {
            std::_Exit(status);
        }
        expected = Outputs::Free;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

// Lets the log thread write again for a CloseLog that runs inside exit(), as from a static object's destructor.
void GiveOutputsBack() {
    Outputs expected = Outputs::TakenAtExit;
    g_outputs.compare_exchange_strong(expected, Outputs::Free);
}

// A handler of on_exit cannot be taken back, so a shared object that this library was linked into must stay when it is
// unloaded. The program itself has an empty name here and stays anyway.
void PinOwnObject() {
    Dl_info info;
    link_map* object = nullptr;
    if (dladdr1(reinterpret_cast<const void*>(TakeOutputsAtExit), &info, reinterpret_cast<void**>(&object),
                RTLD_DL_LINKMAP) != 0 &&
        object != nullptr && object->l_name[0] != '\0') {
        (void)dlopen(object->l_name, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
    }
}

void RegisterExitHandlerOnce() {
    static const int registered = (PinOwnObject(), on_exit(TakeOutputsAtExit, nullptr));
    (void)registered;  // without room for the handler the log still works, only exit() is less orderly
}

// Starts the log thread with all signals blocked: none that is meant for the program lands on it, and a broken pipe on
// an output is a failed write there. What a thread does wrong itself still has its usual end.
void* CreateLogThread() {
    sigset_t blocked;
    sigset_t before;
    sigfillset(&blocked);
    for (const int own : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
        sigdelset(&blocked, own);
    }
    pthread_sigmask(SIG_SETMASK, &blocked, &before);
    void* thread = OS_CreateThread(LogThreadProc, g_pBuf);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread;
}

void BuildLogPath(char (&path)[kPathSize], const char* ending) {
    std::snprintf(path, sizeof path, "%s%s%s", g_szConfigPath, g_szLogFileName, ending);
}

void ReportCannotCreate(const char* path, int error) {
    std::printf("Cannot create log file %s (%d)\n", path, error);
    std::fflush(stdout);
}

void ReleaseRing() {
    std::free(g_pBuf);
    g_pBuf = nullptr;
}

// Size in bytes of an open file, -1 when it does not tell. The position is left at the end.
long FileSize(std::FILE* file) {
    return std::fseek(file, 0, SEEK_END) == 0 ? std::ftell(file) : -1;
}

// The banner does not go through the ring: it is on the file only and not counted in g_llLogFileSize.
void WriteBanner() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    std::fprintf(g_hLogFile, "\n\n-----   %02u:%02u   %u/%u/%u   -----\n\n", static_cast<unsigned>(local.tm_hour),
                 static_cast<unsigned>(local.tm_min), static_cast<unsigned>(local.tm_mday),
                 static_cast<unsigned>(local.tm_mon + 1), static_cast<unsigned>(local.tm_year + 1900));
    std::fflush(g_hLogFile);
}

// Opens the log file at `path`. Without a buffer: what a full disk does not take must not come out later, before
// another message.
std::FILE* OpenStream(const char* path, OldBytes oldBytes) {
    std::FILE* file = StreamOf(OpenLogFile(path, oldBytes), oldBytes == OldBytes::Keep ? "a" : "w");
    if (file != nullptr) {
        (void)std::setvbuf(file, nullptr, _IONBF, 0);
    }
    return file;
}

// Opens the present log for appending. On failure reports and releases the ring.
bool OpenForAppending() {
    char path[kPathSize];
    BuildLogPath(path, kPresentEnding);
    g_hLogFile = OpenStream(path, OldBytes::Keep);
    if (g_hLogFile == nullptr) {
        const int error = OS_GetLastError();
        ReleaseRing();
        ReportCannotCreate(path, error);
        return false;
    }
    g_llLogFileSize = FileSize(g_hLogFile);
    return true;
}

// Closes the present file, makes it the previous one and opens a new one without a banner. False when that one
// cannot be opened: the log thread then ends and messages fill the ring until they are dropped.
bool Rotate() {
    std::FILE* file = g_hLogFile;
    g_hLogFile = nullptr;  // ahead of the closing, which a forced end may cut short
    std::fclose(file);
    char present[kPathSize];
    char previous[kPathSize];
    BuildLogPath(present, kPresentEnding);
    BuildLogPath(previous, kPreviousEnding);
    // A log without a previous generation is normal, and one that cannot be moved is simply written anew.
    (void)std::remove(previous);
    (void)std::rename(present, previous);
    g_hLogFile = OpenStream(present, OldBytes::Cut);
    if (g_hLogFile == nullptr) {
        ReportCannotCreate(present, OS_GetLastError());
        return false;
    }
    g_llLogFileSize = 0;
    return true;
}

// Intended: failures of either output are not looked at, the bytes count as written. What the standard output did not
// take is dropped, or stdio would put it out later, before another message.
void WriteChunk(const char* bytes, std::size_t count) {
    (void)std::fwrite(bytes, 1, count, g_hLogFile);
    (void)std::fflush(g_hLogFile);
    const bool taken = std::fwrite(bytes, 1, count, g_hLogConsole) == count;
    if (std::fflush(g_hLogConsole) != 0 || !taken) {
        __fpurge(g_hLogConsole);
    }
}

// What a thread ended by force did not get out is lost, the part in stdio's buffers too: the next flush of either
// output would be stuck where the thread was.
void DropWhatIsBuffered() {
    __fpurge(g_hLogConsole);
    if (g_hLogFile != nullptr) {
        __fpurge(g_hLogFile);
    }
}

// How far the thread has come with the ring.
enum class Drained {
    Empty,
    Parked,  // exit() has the outputs: wait for the next signal
    Over,    // there is no file any more: the thread ends
};

// Moves one unbroken run of the ring to the outputs, which the caller has acquired. False when the thread is over.
bool DrainRun(std::uint64_t written, std::uint64_t read) {
    const std::uint64_t place = read & g_ullLogBufMask;
    const std::uint64_t count = std::min(written - read, g_ullLogBufEntries - place);
    WriteChunk(g_pBuf + place, count);
    g_llLogFileSize += static_cast<std::int64_t>(count);
    g_ullLogBufRd.store(read + count, std::memory_order_release);
    return g_llLogFileSize <= kRotateAbove || Rotate();
}

// Empties the ring; text across the ring's end takes two runs. A forced end waits until the thread enters a system call
// that may block: ended anywhere else, it would leave the locks of stdio and malloc held.
Drained DrainRing() {
    for (;;) {
        const std::uint64_t read = g_ullLogBufRd.load(std::memory_order_relaxed);
        const std::uint64_t written = g_ullLogBufWr.load(std::memory_order_acquire);
        if (written == read) {
            return Drained::Empty;
        }
        if (!AcquireOutputs()) {
            return Drained::Parked;
        }
        int before = 0;
        pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &before);
        const bool goOn = DrainRun(written, read);
        pthread_setcanceltype(before, nullptr);
        ReleaseOutputs();
        if (!goOn) {
            return Drained::Over;
        }
    }
}

// Copies to the ring behind position `at`, in two parts where the ring ends.
void CopyToRing(std::uint64_t at, const char* text, std::size_t length) {
    const std::uint64_t place = at & g_ullLogBufMask;
    const std::size_t untilEnd = std::min<std::size_t>(length, g_ullLogBufEntries - place);
    std::memcpy(g_pBuf + place, text, untilEnd);
    std::memcpy(g_pBuf, text + untilEnd, length - untilEnd);
}

// More than the ring holds when another writer and the log thread have moved on since `written` was looked at.
std::int64_t FreeSpace(std::uint64_t written) {
    const std::uint64_t read = g_ullLogBufRd.load(std::memory_order_acquire);
    return static_cast<std::int64_t>(g_ullLogBufEntries + read - written);
}

// Puts the text, cut to `space` - 2 characters, and its line feed into the ring. Inside gsLog. The bytes are in place
// before the log thread can see the new counter.
void PutLine(char* text, std::size_t length, std::int64_t space) {
    std::size_t count = 0;
    if (length > 0 && space >= 3) {
        count = std::min(length, static_cast<std::size_t>(space - 2));
    }
    text[count] = '\n';
    const std::uint64_t at = g_ullLogBufWr.load(std::memory_order_relaxed);
    CopyToRing(at, text, count + 1);
    g_ullLogBufWr.store(at + count + 1, std::memory_order_release);
}

// Formats prefix and text into `text`, at most kMessageSize - 1 characters and a terminator, and returns the length.
std::size_t FormatMessage(char* text, LOG_LEVEL level, const char* format, va_list arguments) {
    std::size_t prefix = 0;
    if (level == LOG_LEVEL_ERROR) {
        std::memcpy(text, kErrorPrefix, kErrorPrefixLength);
        prefix = kErrorPrefixLength;
    }
    if (FormatText(text + prefix, kMessageSize, format, arguments) < 0) {
        text[prefix] = '\0';
    }
    text[kMessageSize - 1] = '\0';
    return std::strlen(text);
}

}  // namespace

void (*Log)(LOG_LEVEL level, const char* format, ...) = LogFunc;

LOG_LEVEL g_LogLevel = static_cast<LOG_LEVEL>(0);
std::atomic<bool> g_bTerminateLog{false};
char* g_pBuf = nullptr;
std::uint64_t g_ullLogBufEntries = 0;
std::uint64_t g_ullLogBufMask = 0;
std::atomic<std::uint64_t> g_ullLogBufWr{0};
std::atomic<std::uint64_t> g_ullLogBufRd{0};
pthread_mutex_t gsLog = PTHREAD_MUTEX_INITIALIZER;
void* g_hLogEvent = nullptr;
void* g_hLogThread = nullptr;
char g_szLogFileName[32];
char g_szConfigPath[1024];
std::int64_t g_llLogFileSize = 0;
std::FILE* g_hLogFile = nullptr;
std::FILE* g_hLogConsole = nullptr;

int OpenLog(const char* directory, unsigned int index) {
    g_LogLevel = static_cast<LOG_LEVEL>(0);
    g_hLogConsole = stdout;
    g_hLogFile = nullptr;  // a stream that an earlier CloseLog closed
    if (index < 2) {
        std::snprintf(g_szLogFileName, sizeof g_szLogFileName, "Log");
    } else {
        std::snprintf(g_szLogFileName, sizeof g_szLogFileName, "%s%u", "Log", index);
    }
    if (OS_GetProgramDataPath(g_szConfigPath, sizeof g_szConfigPath) == 0) {
        std::printf("Cannot find a location to create the Log file (%d)\n", OS_GetLastError());
        std::fflush(stdout);
        return 0;
    }
    std::strncat(g_szConfigPath, directory, sizeof g_szConfigPath - std::strlen(g_szConfigPath) - 1);

    g_ullLogBufEntries = kRingSize;
    g_ullLogBufMask = kRingSize - 1;
    g_ullLogBufWr.store(0);
    g_ullLogBufRd.store(0);
    g_pBuf = static_cast<char*>(std::malloc(kRingSize));
    if (g_pBuf == nullptr || !OpenForAppending()) {
        return 0;
    }
    WriteBanner();

    g_bTerminateLog.store(false);
    RegisterExitHandlerOnce();
    OS_InitializeGuardedCodeSection(&gsLog);
    g_hLogEvent = OS_CreateAutoEvent(0);
    g_hLogThread = CreateLogThread();
    if (g_hLogThread == nullptr) {
        ReleaseRing();
        return 0;
    }
    OS_SetThreadPriority(g_hLogThread, kBelowNormalPriority);
    return 1;
}

void LogFunc(LOG_LEVEL level, const char* format, ...) {
    if (g_pBuf == nullptr || level < g_LogLevel) {
        return;
    }
    const std::int64_t spaceBefore = FreeSpace(g_ullLogBufWr.load(std::memory_order_relaxed));
    if (spaceBefore <= 0) {
        return;
    }
    char text[kErrorPrefixLength + kMessageSize];
    va_list arguments;
    va_start(arguments, format);
    const std::size_t length = FormatMessage(text, level, format, arguments);
    va_end(arguments);

    OS_EnterGuardedCodeSection(&gsLog);
    // The first look decides for a single writer; the second keeps several writers from overrunning the ring.
    const std::int64_t space = std::min(spaceBefore, FreeSpace(g_ullLogBufWr.load(std::memory_order_relaxed)));
    if (space > 0) {
        PutLine(text, length, space);
    }
    OS_LeaveGuardedCodeSection(&gsLog);
    OS_SetEvent(g_hLogEvent);
}

void* LogThreadProc(void* /*ring*/) {
    Drained drained = Drained::Empty;
    while (drained != Drained::Over) {
        OS_WaitForEvent(g_hLogEvent, OS_INFINITE);
        drained = DrainRing();
        // Text put in before the flag was set may have come after the ring was found empty: look once more.
        while (drained == Drained::Empty && g_bTerminateLog.load(std::memory_order_acquire)) {
            if (g_ullLogBufWr.load(std::memory_order_acquire) == g_ullLogBufRd.load(std::memory_order_relaxed)) {
                return nullptr;
            }
            drained = DrainRing();
        }
    }
    return nullptr;
}

void CloseLog() {
    GiveOutputsBack();
    g_bTerminateLog.store(true, std::memory_order_release);
    if (g_hLogEvent != nullptr) {
        OS_SetEvent(g_hLogEvent);
    }
    if (g_hLogThread != nullptr) {
        if (OS_WaitForThreadToFinishWithTimeout(g_hLogThread, kThreadEndLimit) == 0) {
            OS_TerminateThread(g_hLogThread);
            DropWhatIsBuffered();
            ReleaseOutputs();
        }
        OS_CloseThreadHandle(g_hLogThread);
        g_hLogThread = nullptr;
    }
    if (g_hLogEvent != nullptr) {
        OS_DestroyEvent(g_hLogEvent);
        g_hLogEvent = nullptr;
    }
    if (g_hLogFile != nullptr) {
        std::fclose(g_hLogFile);
    }
    if (g_pBuf != nullptr) {
        ReleaseRing();
    }
    OS_DeleteGuardedCodeSection(&gsLog);
}

namespace {

// The block of a log whose size is not known: the stand-in text alone.
unsigned int ReadUnknownSize(std::FILE* file, char** block, unsigned int reserve) {
    char* memory = static_cast<char*>(std::malloc(std::size_t{reserve} + kUnknownFileSize + 1));
    std::fclose(file);
    if (memory == nullptr) {
        Log(LOG_LEVEL_ERROR, "Config: Out of memory");
        return 0;
    }
    std::memcpy(memory + reserve, kUnreadableText, sizeof kUnreadableText);
    *block = memory;
    return kUnknownFileSize + 1;
}

unsigned int ReadKnownSize(std::FILE* file, std::size_t size, char** block, unsigned int reserve) {
    char* memory = static_cast<char*>(std::malloc(size + reserve + 1));
    if (memory == nullptr) {
        std::fclose(file);
        Log(LOG_LEVEL_ERROR, "Config: Out of memory");
        return 0;
    }
    std::rewind(file);
    char* text = memory + reserve;
    const std::size_t count = std::fread(text, 1, size, file);
    text[count] = '\0';
    std::fclose(file);
    if (count < size) {
        // The stand-in text is cut to what the block holds.
        std::snprintf(text, size + 1, "%s", kUnreadableText);
    }
    *block = memory;
    return static_cast<unsigned int>(size + 1);
}

}  // namespace

unsigned int ReadLog(char** block, unsigned int reserve) {
    char path[kPathSize];
    BuildLogPath(path, kPresentEnding);
    std::FILE* file = StreamOf(OpenToMeasure(path), "rb");
    if (file == nullptr) {
        // The directory is what the message names, not the file.
        Log(LOG_LEVEL_ERROR, "Config: Cannot open config file '%s' (%u)", g_szConfigPath,
            static_cast<unsigned int>(OS_GetLastError()));
        return 0;
    }
    const long size = FileSize(file);
    return size < 0 ? ReadUnknownSize(file, block, reserve)
                    : ReadKnownSize(file, static_cast<std::size_t>(size), block, reserve);
}
