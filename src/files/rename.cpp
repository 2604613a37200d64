#include "rename_p.h"

#include <base/descriptor_p.h>

#include <QUuid>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace TesCoreFiles {

namespace {

Result unlink(At entry, int flags)
{
    return Result::of(::unlinkat(entry.dirfd, entry.name, flags));
}

/// For file systems that can neither rename exclusively nor make hard links: an empty entry reserves the
/// name.
Result renameOntoPlaceholder(At from, At to, bool isFolder)
{
    if (isFolder) {
        if (::mkdirat(to.dirfd, to.name, S_IRWXU) != 0)
            return Result(errno);
    } else {
        const Descriptor placeholder(
            ::openat(to.dirfd, to.name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (!placeholder.isOpen())
            return placeholder.result();
    }
    Result renamed = Result::of(::renameat(from.dirfd, from.name, to.dirfd, to.name));
    if (renamed || !isCertainlyUndone(renamed))
        return renamed;
    const Result freed = unlink(to, isFolder ? AT_REMOVEDIR : 0);
    // Where a rename replaces nothing, it is exclusive by itself.
    if (freed && renamed.error() == EEXIST)
        renamed = Result::of(::renameat(from.dirfd, from.name, to.dirfd, to.name));
    return renamed;
}

bool isProtected(At entry)
{
    struct statx info;
    return ::statx(entry.dirfd, entry.name, AT_SYMLINK_NOFOLLOW, STATX_TYPE, &info) == 0 &&
           (info.stx_attributes & (STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND)) != 0;
}

} // namespace

QByteArray temporaryName()
{
    return '.' + QUuid::createUuid().toByteArray().mid(1, 36);
}

Result renameExclusively(At from, At to)
{
    const Result renamed =
        Result::of(::renameat2(from.dirfd, from.name, to.dirfd, to.name, RENAME_NOREPLACE));
    if (renamed || !isUnsupported(renamed))
        return renamed;
    struct stat info;
    const Result found = Result::of(::fstatat(from.dirfd, from.name, &info, AT_SYMLINK_NOFOLLOW));
    if (!found)
        return found;
    if (S_ISDIR(info.st_mode))
        return renameOntoPlaceholder(from, to, true);
    // A second name for a file is exclusive too.
    const Result linked = Result::of(::linkat(from.dirfd, from.name, to.dirfd, to.name, 0));
    if (!linked) {
        const bool mayGoOn = isCertainlyUndone(linked) && linked.error() != EEXIST;
        return mayGoOn ? renameOntoPlaceholder(from, to, false) : linked;
    }
    const Result removed = unlink(from, 0);
    if (!removed && isCertainlyUndone(removed))
        static_cast<void>(unlink(to, 0)); // if it stays, both names do
    return removed;
}

Result exchange(At a, At b)
{
    return Result::of(::renameat2(a.dirfd, a.name, b.dirfd, b.name, RENAME_EXCHANGE));
}

bool isCertainlyUndone(Result failure)
{
    constexpr int certain[] = {EACCES, EPERM,  EROFS,  EBUSY,      EEXIST,       ENOTEMPTY,
                               EXDEV,  EINVAL, ENOSYS, EOPNOTSUPP, ENOSPC,       EDQUOT,
                               EMLINK, ENOENT, EISDIR, ENOTDIR,    ENAMETOOLONG, ELOOP};
    return std::find(std::begin(certain), std::end(certain), failure.error()) != std::end(certain);
}

bool isUnsupported(Result failure)
{
    constexpr int reasons[] = {EINVAL, ENOSYS, EOPNOTSUPP, EPERM};
    return std::find(std::begin(reasons), std::end(reasons), failure.error()) != std::end(reasons);
}

bool mayRemoveFrom(int dirfd)
{
    return ::faccessat(dirfd, ".", W_OK | X_OK, AT_EACCESS) == 0 && !isProtected({dirfd, "."});
}

bool mayRemove(At entry, const struct stat &info)
{
    struct stat folder;
    if (!mayRemoveFrom(entry.dirfd) || isProtected(entry) || ::fstat(entry.dirfd, &folder) != 0)
        return false;
    const uid_t user = ::geteuid();
    return !(folder.st_mode & S_ISVTX) || user == 0 || user == info.st_uid || user == folder.st_uid;
}

} // namespace TesCoreFiles
