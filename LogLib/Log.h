// The program's log: a text file written by a thread of its own, with a copy on the standard output.
//
// A caller formats its message on its own stack and copies it into a ring of bytes; the log thread moves the ring's
// contents to the file and to the standard output and starts a new file when the present one passes 4 MiB. A caller
// never touches the disk and never waits for it. When the ring is full, messages are dropped.
//
// Order of use: OpenLog once, Log from any thread, CloseLog once for each OpenLog. Before OpenLog has succeeded and
// after CloseLog, Log does nothing. OpenLog and CloseLog belong to one thread, and while they run no other thread may
// call Log: the ring is made and freed there without a lock.
//
// The log changes no signal's disposition, and its thread blocks all signals but those of its own faults. A standard
// output that nobody reads any more is a failed write. Log.txt is not handed on to programs that are started.
//
// A shared object that this library is linked into stays in memory when it is unloaded.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <cstdio>

// How severe a message is; a larger value is more severe.
enum LOG_LEVEL : std::int32_t {
    LOG_LEVEL_ERROR = 3,  // the line begins with "ERROR: "
};

// Writes one line: the text that `format` and its arguments (as for printf) give, with "ERROR: " ahead of it at
// LOG_LEVEL_ERROR and a line feed behind. Prefix and text together are cut to 1023 characters. May be called from any
// thread. Never fails in a way that the caller sees: with the ring full the message is dropped, with the ring nearly
// full it is cut, or dropped when another thread has filled the ring meanwhile.
void LogFunc(LOG_LEVEL level, const char* format, ...) __attribute__((format(printf, 2, 3)));

// What all code logs through. It is LogFunc, and nothing in the libraries or the program changes it; a client that
// wants the messages for itself may point it elsewhere before it starts threads of its own.
extern void (*Log)(LOG_LEVEL level, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Opens the log "Log.txt" (index 0 or 1) or "Log<index>.txt" in `directory`, a path below the program data path that
// begins and ends with a slash, and starts the log thread. The file is appended to, with a banner of the local time.
// The whole path of the directory is cut to 1023 bytes.
// Returns 1 on success. Returns 0 and leaves Log inert when there is no program data path ("Cannot find a location to
// create the Log file (%d)" on the standard output, with the system's error number), when the file cannot be opened
// ("Cannot create log file %s (%d)" there), or, without a word, when memory or a thread is lacking.
//
// The file is opened only where that is safe for root in a folder that everybody may write to: a regular file with one
// name, or a link of root's or the caller's to one or to a character device. Otherwise opening fails as above, with
// ELOOP for a stranger's link, EMLINK for a file of several names, ENXIO for a FIFO or device, EISDIR for a directory.
//
// exit() may run while the log is open. It does not wait for text that is still in the ring, only for the chunk that
// the log thread is writing, and for that at most 200 milliseconds. When an output takes no more text the process then
// ends at once, with its status, and no handler runs that was registered before the log was opened. A CloseLog inside
// exit(), from the destructor of a static object for example, still writes what is in the ring.
int OpenLog(const char* directory, unsigned int index);

// Ends the log thread, waiting at most 2000 milliseconds for it to empty the ring, and releases everything. A thread
// that is stuck in an output is then ended by force; it holds no lock of stdio or malloc afterwards. The stream pointer
// g_hLogFile is left set, so one call for each OpenLog.
void CloseLog();

// Reads the whole present log file, as OpenLog named it, into a new block behind `reserve` bytes that are left for the
// caller, and stores the block through `block`. The caller frees it with free(). Returns the file's size plus 1 for the
// terminating zero; the text "Cannot read config file" stands in for a file that cannot be read whole, with the same
// result, or 257 where the size cannot be told. Returns 0 without a block when the file cannot be opened or memory is
// short; both are logged.
unsigned int ReadLog(char** block, unsigned int reserve);

// The log thread's body. The argument, the ring's address, is not used. Returns null.
void* LogThreadProc(void* ring);

// The library's state. Beside each: who writes it. OpenLog sets it all, the thread's handle last.
extern LOG_LEVEL g_LogLevel;                      // messages below it are dropped; 0 after OpenLog
extern std::atomic<bool> g_bTerminateLog;         // CloseLog: the thread ends once the ring is empty
extern char* g_pBuf;                              // OpenLog and CloseLog: the ring; null while the log is not open
extern std::uint64_t g_ullLogBufEntries;          // size of the ring in bytes, a power of two
extern std::uint64_t g_ullLogBufMask;             // size minus 1
extern std::atomic<std::uint64_t> g_ullLogBufWr;  // bytes ever put in; writers, inside gsLog; never wrapped
extern std::atomic<std::uint64_t> g_ullLogBufRd;  // bytes ever taken out; the log thread only; never wrapped
extern pthread_mutex_t gsLog;                     // keeps writers of the ring apart; the thread never takes it
extern void* g_hLogEvent;                         // wakes the thread
extern void* g_hLogThread;                        // the thread's handle
extern char g_szLogFileName[32];                  // base name of the file, without an ending
extern char g_szConfigPath[1024];                 // directory of the log, with closing slash, despite the name
extern std::int64_t g_llLogFileSize;              // bytes in the present file as counted; the log thread
extern std::FILE* g_hLogFile;                     // the log file; the log thread while it runs
extern std::FILE* g_hLogConsole;                  // the second output, the standard output
