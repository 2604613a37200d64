// The system calls of this program and of all it loads pass through here first: each of these functions
// stands before the C library's of the same name, and does what the plan says.
#ifndef TESCORE_TESTS_FAULTS_INTERPOSE_H
#define TESCORE_TESTS_FAULTS_INTERPOSE_H

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <string_view>

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

/// What a file system at hand may be unable to do.
enum Feature { UnnamedFiles = 1, ExclusiveRename = 2, HardLinks = 4, KernelCopy = 8 };

// Beside the error numbers: a struck call transfers less than it was asked to, or kills the process.
constexpr int kShort = -1;
constexpr int kKill = -2;
constexpr long kShortTransfer = 600; // room for one folder entry of any length

/// Which calls fail. In memory that a child process shares.
struct Plan
{
    std::atomic<bool> isArmed;
    std::string_view kind;
    int error;
    bool isLasting; // the calls after the struck one fail too
    unsigned lacking;
    long at;
    std::atomic<long> calls, struck;
};

inline Plan *plan = nullptr;

/// Whether a call fails instead of being made, errno then being set.
inline bool fails(std::string_view kind, long *size, int unsupported)
{
    errno = unsupported;
    if (unsupported != 0 || plan->kind != kind || (plan->error == kShort && !size))
        return unsupported != 0;
    const long call = ++plan->calls;
    if (call < plan->at || (call > plan->at && !plan->isLasting))
        return false;
    ++plan->struck;
    if (plan->error == kKill)
        ::kill(::getpid(), SIGKILL);
    if (plan->error == kShort)
        *size = std::min(*size / 2 + 1, kShortTransfer);
    errno = plan->error;
    return plan->error != kShort;
}

// All arguments are integers or pointers, which travel in the same registers whatever they are. Only close()
// is made before it fails: it always releases its descriptor. Nothing is really synced: no power is cut here,
// and it would take most of the time.
static_assert(sizeof(long) == 8);
#define INTERPOSE(name, kind, size, unsupported)                                                             \
    extern "C" long interposed_##name(long, long, long, long, long, long) __asm__(#name);                    \
    long interposed_##name(long a, long b, long c, long d, long e, long f)                                   \
    {                                                                                                        \
        static const auto real = reinterpret_cast<decltype(&interposed_##name)>(::dlsym(RTLD_NEXT, #name));  \
        if (!plan || !plan->isArmed)                                                                         \
            return real(a, b, c, d, e, f);                                                                   \
        constexpr std::string_view name = kind;                                                              \
        const long early = name == "close" ? real(a, b, c, d, e, f) : 0;                                     \
        if (fails(name, size, unsupported))                                                                  \
            return -1;                                                                                       \
        return name == "close" || name == "sync" ? early : real(a, b, c, d, e, f);                           \
    }
#define UNLESS(feature, isNeeded, error) (plan->lacking & (feature)) && (isNeeded) ? (error) : 0

constexpr std::string_view kKinds[] = {"open",  "read", "write",    "list",   "copy",    "stat",
                                       "mkdir", "link", "rename",   "unlink", "reflink", "sync",
                                       "chmod", "seek", "readlink", "close"};
INTERPOSE(open64, "open", nullptr, 0)
INTERPOSE(openat64, "open", nullptr, UNLESS(UnnamedFiles, (c & O_TMPFILE) == O_TMPFILE, EOPNOTSUPP))
INTERPOSE(read, "read", &c, 0)
INTERPOSE(write, "write", &c, 0)
INTERPOSE(getdents64, "list", &c, 0)
INTERPOSE(copy_file_range, "copy", &e, UNLESS(KernelCopy, true, EXDEV))
INTERPOSE(sendfile64, "copy", &d, UNLESS(KernelCopy, true, EINVAL))
INTERPOSE(stat64, "stat", nullptr, 0)
INTERPOSE(fstat64, "stat", nullptr, 0)
INTERPOSE(fstatat64, "stat", nullptr, 0)
INTERPOSE(faccessat, "stat", nullptr, 0)
INTERPOSE(mkdirat, "mkdir", nullptr, 0)
INTERPOSE(linkat, "link", nullptr, UNLESS(HardLinks, true, EPERM))
INTERPOSE(renameat, "rename", nullptr, 0)
INTERPOSE(renameat2, "rename", nullptr, UNLESS(ExclusiveRename, e != 0, EINVAL))
INTERPOSE(unlinkat, "unlink", nullptr, 0)
INTERPOSE(ioctl, "reflink", nullptr, 0)
INTERPOSE(fsync, "sync", nullptr, 0)
INTERPOSE(syncfs, "sync", nullptr, 0)
INTERPOSE(fchmod, "chmod", nullptr, 0)
INTERPOSE(ftruncate64, "chmod", nullptr, 0)
INTERPOSE(lseek64, "seek", nullptr, 0)
INTERPOSE(readlinkat, "readlink", nullptr, 0)
INTERPOSE(close, "close", nullptr, 0)

#endif
