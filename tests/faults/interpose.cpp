#include "plan.h"

#include <algorithm>
#include <cerrno>
#include <csignal>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr long kShortTransfer = 600; // room for one folder entry of any length

/// Whether a call fails instead of being made, errno then being set.
bool fails(std::string_view kind, long *size, int unsupported)
{
    errno = unsupported != 0 ? unsupported : errno;
    if (unsupported != 0 || plan->kind != kind || (plan->error == kShort && !size))
        return unsupported != 0;
    const long call = ++plan->calls;
    if (call < plan->at || (call > plan->at && !plan->isLasting))
        return false;
    ++plan->struck;
    if (plan->error == kKill)
        ::kill(::getpid(), SIGKILL);
    if (plan->error != kShort)
        errno = plan->error;
    else
        *size = std::min(*size / 2 + 1, kShortTransfer);
    return plan->error != kShort;
}

/// What some file systems do: they leave it to the caller to look at each entry.
void forgetTypes(long address, long length)
{
    char *entries = reinterpret_cast<char *>(address); // NOLINT(performance-no-int-to-ptr): an argument
    for (long at = 0; at < length;) {
        auto *entry = reinterpret_cast<dirent64 *>(entries + at);
        entry->d_type = DT_UNKNOWN;
        at += entry->d_reclen;
    }
}

/// Whether a call with these first and third arguments may change something on the disk.
bool isChange(std::string_view kind, long first, long third)
{
    constexpr std::string_view questions[] = {"read", "list", "stat", "seek", "readlink"};
    if (kind == "open")
        return (third & O_CREAT) || (third & O_TMPFILE) == O_TMPFILE;
    if (kind == "close")
        return (::fcntl(int(first), F_GETFL) & O_ACCMODE) != O_RDONLY;
    return std::find(std::begin(questions), std::end(questions), kind) == std::end(questions);
}

/// Makes a call, of which plan->atCall hears. Nothing is really synced where the plan lacks it.
template <typename Real>
long heard(std::string_view kind, const Real &real)
{
    plan->atCall(kind, "before");
    const bool isLeftOut = kind == "sync" && (plan->lacking & Syncs);
    const long result = isLeftOut ? 0 : real();
    const int error = errno;
    plan->atCall(kind, "after");
    errno = error;
    return result;
}

} // namespace

// Functions of this program that stand before those of the C library. All arguments are integers or pointers,
// which travel in the same registers whatever they are. Only close() is made before it fails: it always
// releases its descriptor. Nothing is really synced while calls fail: no power is cut then, and it would take
// most of the time.
static_assert(sizeof(long) == 8);
#define INTERPOSE(name, kind, size, unsupported)                                                             \
    extern "C" long interposed_##name(long, long, long, long, long, long) __asm__(#name);                    \
    long interposed_##name(long a, long b, long c, long d, long e, long f)                                   \
    {                                                                                                        \
        static const auto real = reinterpret_cast<decltype(&interposed_##name)>(::dlsym(RTLD_NEXT, #name));  \
        if (plan && plan->atCall && isChange(kind, a, c))                                                    \
            return heard(kind, [=] { return real(a, b, c, d, e, f); });                                      \
        if (!plan || !plan->isArmed)                                                                         \
            return real(a, b, c, d, e, f);                                                                   \
        constexpr std::string_view ofKind = kind;                                                            \
        const long early = ofKind == "close" ? real(a, b, c, d, e, f) : 0;                                   \
        if (fails(ofKind, size, unsupported))                                                                \
            return -1;                                                                                       \
        const long result = ofKind == "close" || ofKind == "sync" ? early : real(a, b, c, d, e, f);          \
        if (ofKind == "list" && (plan->lacking & TypesInListings))                                           \
            forgetTypes(b, result);                                                                          \
        return result;                                                                                       \
    }
#define UNLESS(feature, isNeeded, error) (plan->lacking & (feature)) && (isNeeded) ? (error) : 0

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
INTERPOSE(faccessat, "stat", nullptr, UNLESS(NewCalls, d != 0, EPERM))
INTERPOSE(mkdirat, "mkdir", nullptr, 0)
INTERPOSE(linkat, "link", nullptr,
          (plan->lacking & HardLinks) ? EPERM : UNLESS(LinksToUnnamed, e != 0, EACCES))
INTERPOSE(renameat, "rename", nullptr, 0)
INTERPOSE(renameat2, "rename", nullptr,
          (plan->lacking & NewCalls) ? EPERM : UNLESS(ExclusiveRename, e != 0, EINVAL))
INTERPOSE(unlinkat, "unlink", nullptr, 0)
INTERPOSE(ioctl, "reflink", nullptr, 0)
INTERPOSE(fsync, "sync", nullptr, 0)
INTERPOSE(syncfs, "sync", nullptr, UNLESS(SyncOfAll, true, ENOSYS))
INTERPOSE(fchmod, "chmod", nullptr, 0)
INTERPOSE(ftruncate64, "chmod", nullptr, 0)
INTERPOSE(fchown, "attribute", nullptr, 0)
INTERPOSE(futimens, "attribute", nullptr, 0)
INTERPOSE(fsetxattr, "attribute", nullptr, 0)
INTERPOSE(lseek64, "seek", nullptr, 0)
INTERPOSE(readlinkat, "readlink", nullptr, 0)
INTERPOSE(close, "close", nullptr, 0)
