#include "faults/Tracer.h"

#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>

#include "faults/Stage.h"

namespace faults {
namespace {

constexpr int kCallStop = SIGTRAP | 0x80;  // with PTRACE_O_TRACESYSGOOD

struct NamedCall {
    long number;
    const char* name;
};

constexpr NamedCall kNames[] = {
    {SYS_openat, "openat"},       {SYS_open, "open"},     {SYS_unlink, "unlink"},
    {SYS_unlinkat, "unlinkat"},   {SYS_write, "write"},   {SYS_pwrite64, "pwrite64"},
    {SYS_writev, "writev"},       {SYS_fsync, "fsync"},   {SYS_fdatasync, "fdatasync"},
    {SYS_close, "close"},         {SYS_rename, "rename"}, {SYS_renameat, "renameat"},
    {SYS_renameat2, "renameat2"}, {SYS_fstat, "fstat"},   {SYS_newfstatat, "newfstatat"},
    {SYS_lstat, "lstat"},         {SYS_stat, "stat"},     {SYS_statx, "statx"},
    {SYS_fcntl, "fcntl"},         {SYS_fchmod, "fchmod"}, {SYS_geteuid, "geteuid"},
    {SYS_mmap, "mmap"},           {SYS_munmap, "munmap"}, {SYS_brk, "brk"},
};

}  // namespace

std::string CallName(long number) {
    for (const NamedCall& call : kNames) {
        if (call.number == number) {
            return call.name;
        }
    }
    return "call " + std::to_string(number);
}

Tracer::Tracer(const std::function<void()>& prepare, const std::function<void()>& function)
    : m_pid(StartChild([&] {
          prepare();
          ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
          // A plain call: with raise() calls of the library's own would come before those of the function.
          syscall(SYS_kill, getpid(), SIGSTOP);
          function();
          // Likewise: in front of _exit() a sanitizer puts calls of its own.
          syscall(SYS_exit_group, 0);
      })),
      m_ownChild(true) {
    WaitForIt();
    if (m_ended || !WIFSTOPPED(m_status) ||
        ptrace(PTRACE_SETOPTIONS, m_pid, nullptr, PTRACE_O_EXITKILL | PTRACE_O_TRACESYSGOOD) != 0) {
        Kill();
        throw std::runtime_error("the process could not be traced");
    }
}

Tracer::Tracer(pid_t thread) : m_pid(thread), m_ownChild(false) {
    if (ptrace(PTRACE_SEIZE, m_pid, nullptr, PTRACE_O_TRACESYSGOOD) != 0 ||
        ptrace(PTRACE_INTERRUPT, m_pid, nullptr, nullptr) != 0) {
        throw std::runtime_error("the program could not be traced");
    }
    WaitForIt();
}

Tracer::~Tracer() {
    if (m_ownChild) {
        Kill();
    } else if (!m_ended) {
        ptrace(PTRACE_DETACH, m_pid, nullptr, nullptr);
    }
}

int Tracer::WaitForIt() {
    while (waitpid(m_pid, &m_status, __WALL) < 0) {
        if (errno != EINTR) {
            m_ended = true;
            return m_status;
        }
    }
    m_ended = !WIFSTOPPED(m_status);
    return m_status;
}

// Signals on the way are delivered.
bool Tracer::RunToStop() {
    while (!m_ended) {
        if (ptrace(PTRACE_SYSCALL, m_pid, nullptr, m_signal) != 0) {
            WaitForIt();
            return false;
        }
        WaitForIt();
        if (!m_ended && WSTOPSIG(m_status) == kCallStop) {
            m_signal = 0;
            return true;
        }
        const bool groupStop = m_ended || (m_status >> 16) != 0;
        m_signal = groupStop ? 0 : WSTOPSIG(m_status);
    }
    return false;
}

bool Tracer::Next(CallStop& stop) {
    if (!RunToStop()) {
        return false;
    }
    __ptrace_syscall_info info{};
    ptrace(PTRACE_GET_SYSCALL_INFO, m_pid, sizeof info, &info);
    stop.entry = info.op == PTRACE_SYSCALL_INFO_ENTRY;
    if (stop.entry) {
        stop.number = static_cast<long>(info.entry.nr);
        for (int i = 0; i < 6; ++i) {
            stop.arguments[i] = info.entry.args[i];
        }
        return stop.number != SYS_exit_group;
    }
    stop.result = static_cast<long>(info.exit.rval);
    if (m_answering) {
        m_answering = false;
        stop.result = m_answer;
        user_regs_struct registers{};
        ptrace(PTRACE_GETREGS, m_pid, nullptr, &registers);
        registers.rax = static_cast<unsigned long long>(m_answer);
        ptrace(PTRACE_SETREGS, m_pid, nullptr, &registers);
    }
    return true;
}

void Tracer::Answer(long result) {
    user_regs_struct registers{};
    ptrace(PTRACE_GETREGS, m_pid, nullptr, &registers);
    registers.orig_rax = static_cast<unsigned long long>(-1);
    ptrace(PTRACE_SETREGS, m_pid, nullptr, &registers);
    m_answering = true;
    m_answer = result;
}

void Tracer::SetArgument(int index, std::uint64_t value) {
    user_regs_struct registers{};
    ptrace(PTRACE_GETREGS, m_pid, nullptr, &registers);
    unsigned long long* const places[] = {&registers.rdi, &registers.rsi, &registers.rdx,
                                          &registers.r10, &registers.r8,  &registers.r9};
    *places[index] = value;
    ptrace(PTRACE_SETREGS, m_pid, nullptr, &registers);
}

void Tracer::Kill() {
    while (!m_ended) {
        kill(m_pid, SIGKILL);
        WaitForIt();
    }
}

int Tracer::Finish() {
    while (!m_ended) {
        if (ptrace(PTRACE_CONT, m_pid, nullptr, m_signal) != 0) {
            Kill();
            break;
        }
        WaitForIt();
        m_signal = m_ended ? 0 : WSTOPSIG(m_status);
    }
    return m_status;
}

std::string Tracer::Text(std::uint64_t address) const {
    char bytes[256] = {};
    iovec here{bytes, sizeof bytes - 1};
    iovec there{reinterpret_cast<void*>(address), sizeof bytes - 1};
    if (process_vm_readv(m_pid, &here, 1, &there, 1, 0) < 0) {
        return "";
    }
    return bytes;
}

}  // namespace faults
