// The small layer over the operating system that ConfigLib and LogLib stand on: program data path, last error,
// events, threads and guarded code sections.
//
// Handles are opaque; null means none. All functions may be called from any thread, none throws and none ends the
// program. Time limits are milliseconds; OS_INFINITE means no limit.
//
// Order of use: an event is created before the thread that waits on it and destroyed when nobody waits on it any more;
// a section is initialised before its first use and deleted after its last; a thread handle is closed exactly once.
#pragma once

#include <pthread.h>

// The functions that the shared library exports; nothing else of it can be called from outside.
#define OS_API __attribute__((visibility("default")))

constexpr unsigned int OS_INFINITE = 0xFFFFFFFF;

// Writes the root directory of the program's data, "/etc", as terminated text without a closing slash: callers append
// a path that begins with one. `size` is the buffer's size in bytes. Returns non-zero on success. Returns 0 when the
// buffer is null (OS_GetLastError: EINVAL) or too small (ERANGE); a buffer of at least one byte is then empty text.
OS_API int OS_GetProgramDataPath(char* buffer, unsigned int size);

// The system's error number (errno) of the last failure on the calling thread, failed standard file calls included.
OS_API int OS_GetLastError();

// Creates an event that resets itself when it has released one waiter. `signalled` is the initial state, 0 or not 0.
// Returns the handle, null when memory is short. Release with OS_DestroyEvent.
OS_API void* OS_CreateAutoEvent(int signalled);

// Signals the event. Several signals before a wait count as one; a signal without a waiter stays pending. What the
// caller wrote before is visible to the thread that the signal releases. Null is ignored.
OS_API void OS_SetEvent(void* event);

// Blocks until the event is signalled, consumes the signal and returns non-zero; returns 0 when `milliseconds` ran out
// first. A null event, one that could not be made, returns 0 after 10 milliseconds at most.
OS_API int OS_WaitForEvent(void* event, unsigned int milliseconds);

// Releases the event; nobody waits on it by then. Null is ignored.
OS_API void OS_DestroyEvent(void* event);

// Starts a thread that runs function(argument) at once; the function's result is not collected. The thread can be
// ended from outside at any instruction (OS_TerminateThread). Returns the handle, which the caller releases with
// OS_CloseThreadHandle however the thread ends; null on failure.
OS_API void* OS_CreateThread(void* (*function)(void*), void* argument);

// Sets the thread's priority in steps from normal: 0 is the program's own, -1 one step below, 1 one above. One step is
// five nice levels. Failure (raising without the right to) is silent. Null is ignored.
OS_API void OS_SetThreadPriority(void* thread, int priority);

// Waits for the thread to end. Returns non-zero as soon as it has ended, at once if it has already; 0 when
// `milliseconds` ran out first. Not to be called by two threads at a time for one handle. Null counts as ended.
OS_API int OS_WaitForThreadToFinishWithTimeout(void* thread, unsigned int milliseconds);

// Ends the thread by force, whatever it is doing, and returns when it has gone. Null is ignored. A thread inside the
// kernel where no signal reaches it is waited for.
//
// The thread's stack is unwound from where it is. In a call that may block (read, write, open, close, nanosleep and the
// other cancellation points of POSIX) that is safe: destructors run, and the C library gives up the lock of a stream
// that the call was made for. Anywhere else the thread stops between two instructions, and what it holds stays held for
// the rest of the process: a section or mutex of the program's, the lock of a stream, the lock of malloc. Destructors
// may then not run either. So let a thread that may be ended like this call pthread_setcanceltype with
// PTHREAD_CANCEL_DEFERRED while it holds any of these, or uses malloc, new or stdio: it is then ended at the next call
// that may block.
//
// A noexcept function on the stack does not end the program: the rest of the frames is left as it is. To that end the
// terminate handler of the C++ runtime is another one during the call.
OS_API void OS_TerminateThread(void* thread);

// Releases the handle. A thread still running then goes on and cleans up after itself. Null is ignored.
OS_API void OS_CloseThreadHandle(void* thread);

// A guarded code section is a mutex in the caller's storage, never null. One thread at a time holds it; it does not
// nest. Initialize makes it free; Enter blocks until the caller holds it; Leave is for the holder alone; Delete needs
// it free.
OS_API void OS_InitializeGuardedCodeSection(pthread_mutex_t* section);
OS_API void OS_EnterGuardedCodeSection(pthread_mutex_t* section);
OS_API void OS_LeaveGuardedCodeSection(pthread_mutex_t* section);
OS_API void OS_DeleteGuardedCodeSection(pthread_mutex_t* section);
