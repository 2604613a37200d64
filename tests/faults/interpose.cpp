#include "plan.h"

#include <algorithm>
#include <cerrno>
#include <csignal>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
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

/// What a file system answers: some leave it to the caller to look at each entry.
void forgetTypes(char *entries, long length)
{
    for (long at = 0; at < length;) {
        auto *entry = reinterpret_cast<dirent64 *>(entries + at);
        entry->d_type = DT_UNKNOWN;
        at += entry->d_reclen;
    }
}

bool isWritable(long fd)
{
    return (::fcntl(int(fd), F_GETFL) & O_ACCMODE) != O_RDONLY;
}

/// Whether a call with these first and third arguments may change something on the disk.
bool isChange(std::string_view kind, long first, long third)
{
    constexpr std::string_view questions[] = {"read", "list", "stat", "seek", "readlink"};
    if (kind == "open")
        return (third & O_CREAT) || (third & O_TMPFILE) == O_TMPFILE;
    if (kind == "close")
        return isWritable(first);
    return std::find(std::begin(questions), std::end(questions), kind) == std::end(questions);
}

/// Whether a call is made though it is told to fail. Only close() always is: it releases its descriptor.
bool isMadeFirst(std::string_view kind)
{
    return kind == "close" || (plan->isDone && changesNames(kind));
}

int written = -1; // the descriptor that was last written to

void noteWriting(std::string_view kind, long first, long third)
{
    if (kind == "write" || kind == "copy")
        written = int(isWritable(first) ? first : third);
}

/// A late file system loses what was written when close() fails.
void loseContent(int fd)
{
    const long call = plan->calls + 1;
    const bool isStruck = plan->kind == "close" && (call == plan->at || (call > plan->at && plan->isLasting));
    if (isStruck && plan->error > 0 && plan->error != EINTR && fd == written)
        ::syscall(SYS_ftruncate, fd, 0);
}

int renameError(long dirfd, long name, long flags)
{
    if (plan->lacking & NewCalls)
        return EPERM;
    if (flags != 0)
        return plan->lacking & ExclusiveRename ? EINVAL : 0;
    const bool isTaken =
        (plan->lacking & ReplacingRename) && ::syscall(SYS_faccessat, dirfd, name, F_OK) == 0;
    return isTaken ? EEXIST : 0;
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
// which travel in the same registers whatever they are. Nothing is really synced while calls fail: no power
// is cut then, and it would take most of the time.
static_assert(sizeof(long) == 8);
#define INTERPOSE(name, kind, size, unsupported)                                                             \
    extern "C" long interposed_##name(long, long, long, long, long, long) __asm__(#name);                    \
    long interposed_##name(long a, long b, long c, long d, long e, long f)                                   \
    {                                                                                                        \
        static const auto real = reinterpret_cast<decltype(&interposed_##name)>(::dlsym(RTLD_NEXT, #name));  \
        if (plan && plan->atCall && (plan->hearsAll || isChange(kind, a, c)))                                \
            return heard(kind, [=] { return real(a, b, c, d, e, f); });                                      \
        if (!plan || !plan->isArmed)                                                                         \
            return real(a, b, c, d, e, f);                                                                   \
        constexpr std::string_view ofKind = kind;                                                            \
        const int error = unsupported;                                                                       \
        const bool isFirst = error == 0 && isMadeFirst(ofKind);                                              \
        noteWriting(ofKind, a, c);                                                                           \
        if (ofKind == "close")                                                                               \
            loseContent(int(a));                                                                             \
        long result = isFirst ? real(a, b, c, d, e, f) : 0;                                                  \
        if (result == -1 || fails(ofKind, size, error))                                                      \
            return -1;                                                                                       \
        if (!isFirst && ofKind != "sync")                                                                    \
            result = real(a, b, c, d, e, f);                                                                 \
        void *answer = reinterpret_cast<void *>(b); /* NOLINT(performance-no-int-to-ptr): an argument */     \
        if (ofKind == "list" && (plan->lacking & TypesInListings))                                           \
            forgetTypes(static_cast<char *>(answer), result);                                                \
        if (ofKind == "type" && (plan->lacking & Local))                                                     \
            static_cast<struct statfs *>(answer)->f_type = FUSE_SUPER_MAGIC;                                 \
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
          (plan->lacking & HardLinks) ? EPERM
                                      : UNLESS(LinksToUnnamed, e != 0, e == AT_EMPTY_PATH ? EACCES : EXDEV))
INTERPOSE(renameat, "rename", nullptr, UNLESS(ReplacingRename, true, renameError(c, d, 0)))
INTERPOSE(renameat2, "rename", nullptr, renameError(c, d, e))
INTERPOSE(unlinkat, "unlink", nullptr, 0)
INTERPOSE(ioctl, "reflink", nullptr, 0)
INTERPOSE(fsync, "sync", nullptr,
          UNLESS(FolderSync, (::fcntl(int(a), F_GETFL) & O_TMPFILE) == O_DIRECTORY, EINVAL))
INTERPOSE(sync, "sync", nullptr, 0)
INTERPOSE(fstatfs64, "type", nullptr, 0)
INTERPOSE(syncfs, "sync", nullptr, UNLESS(SyncOfAll, true, plan->lacking &NewCalls ? EPERM : ENOSYS))
INTERPOSE(fchmod, "chmod", nullptr, 0)
INTERPOSE(ftruncate64, "chmod", nullptr, 0)
INTERPOSE(fchown, "attribute", nullptr, 0)
INTERPOSE(futimens, "attribute", nullptr, 0)
INTERPOSE(fsetxattr, "attribute", nullptr, 0)
INTERPOSE(lseek64, "seek", nullptr, 0)
INTERPOSE(readlinkat, "readlink", nullptr, 0)
INTERPOSE(close, "close", nullptr, 0)
