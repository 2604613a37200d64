#include "systemcalls.h"

#include <csignal>
#include <cstdint>

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int callStop = SIGTRAP | 0x80;

long traced(const std::function<void()> &job)
{
    const pid_t child = ::fork();
    if (child == 0) {
        if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
            ::_exit(1);
        ::raise(SIGSTOP);
        job();
        ::_exit(0);
    }
    int status = 0;
    if (::waitpid(child, &status, 0) != child || !WIFSTOPPED(status))
        return -1;
    constexpr intptr_t options = PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL | PTRACE_O_TRACEFORK |
                                 PTRACE_O_TRACEVFORK | PTRACE_O_TRACECLONE;
    ::ptrace(PTRACE_SETOPTIONS, child, 0, options);
    ::ptrace(PTRACE_SYSCALL, child, 0, 0);
    long stops = 0;
    for (pid_t pid; (pid = ::waitpid(-1, &status, __WALL)) > 0;) {
        if (!WIFSTOPPED(status))
            continue;
        const int signal = WSTOPSIG(status);
        stops += signal == callStop;
        const bool isTracing = signal == callStop || signal == SIGTRAP || signal == SIGSTOP;
        ::ptrace(PTRACE_SYSCALL, pid, 0, intptr_t(isTracing ? 0 : signal));
    }
    return stops / 2;
}

} // namespace

long countSystemCalls(const std::function<void()> &job)
{
    static const long own = traced([] {});
    return own < 0 ? -1 : traced(job) - own;
}
