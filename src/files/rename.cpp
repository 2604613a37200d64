#include "rename_p.h"

#include "fileid_p.h"
#include "mounts_p.h"
#include "path_p.h"

#include <base/descriptor_p.h>

#include <QUuid>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace TesCoreFiles {

namespace {

/// An empty file or folder that reserves a name.
class Placeholder
{
public:
    Placeholder(At name, bool isFolder) : m_name(name), m_flags(isFolder ? AT_REMOVEDIR : 0)
    {
        m_made = isFolder ? makeFolder(name, S_IRWXU) : makeFile();
        struct stat info;
        if (m_made && linkStatus(name, &info))
            m_id = FileId(info);
    }

    Result made() const { return m_made; }
    /// Whether it still has the name, as far as is seen here.
    bool isInPlace() const
    {
        struct stat info;
        return linkStatus(m_name, &info) && FileId(info) == m_id;
    }
    Result remove() const { return unlink(m_name, m_flags); }

private:
    Result makeFile() const
    {
        return Descriptor(::openat(m_name.dirfd, m_name.name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600))
            .result();
    }

    const At m_name;
    const int m_flags;
    Result m_made;
    FileId m_id;
};

/// For file systems that can neither rename exclusively nor make hard links.
Result renameOntoPlaceholder(At from, At to, bool isFolder)
{
    const Placeholder placeholder(to, isFolder);
    if (!placeholder.made())
        return placeholder.made();
    const Result renamed = rename(from, to);
    const bool isUndone = isCertainlyUndone(renamed) || (isLocal(to.dirfd) && placeholder.isInPlace());
    if (renamed || !isUndone)
        return renamed;
    // Where a rename replaces nothing, it is exclusive by itself.
    const bool isFree = placeholder.remove() && renamed.error() == EEXIST;
    return isFree ? rename(from, to) : renamed;
}

/// The number of the file system's type (statfs(2)); 0 when it is unknown.
unsigned typeOf(int dirfd)
{
    struct statfs info;
    return ::fstatfs(dirfd, &info) == 0 ? unsigned(info.f_type) : 0;
}

bool isOneOf(unsigned type, std::initializer_list<unsigned> types)
{
    return std::find(types.begin(), types.end(), type) != types.end();
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
    const Result found = linkStatus(from, &info);
    if (!found)
        return found;
    if (S_ISDIR(info.st_mode))
        return renameOntoPlaceholder(from, to, true);
    // A second name for a file is exclusive too.
    const Result linked = link(from, to);
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

bool isFull(Result failure)
{
    return failure.error() == ENOSPC || failure.error() == EDQUOT;
}

bool isLocal(int dirfd)
{
    // linux/magic.h names only some of those that others serve.
    constexpr unsigned fuse = 0x65735546, nfs = 0x6969, cifs = 0xff534d42, smb2 = 0xfe534d42,
                       v9fs = 0x01021997, ceph = 0x00c36400, afs = 0x5346414f;
    const unsigned type = typeOf(dirfd);
    return type != 0 && !isOneOf(type, {fuse, nfs, cifs, smb2, v9fs, ceph, afs});
}

bool renamesByHalves(int dirfd)
{
    constexpr unsigned minix = 0x137f, minixLong = 0x138f, minix2 = 0x2468, minix2Long = 0x2478,
                       minix3 = 0x4d5a, fat = 0x4d44, exfat = 0x2011bab0, extended = 0xef53;
    const unsigned type = typeOf(dirfd);
    if (type != extended)
        return isOneOf(type, {minix, minixLong, minix2, minix2Long, minix3, fat, exfat});
    // One number stands for ext2, ext3 and ext4, of which a journal keeps the halves together. ext2 keeps no
    // times of birth; what else keeps none, only the mount tells.
    struct stat info;
    if (::fstat(dirfd, &info) != 0)
        return false;
    if (isWithoutJournal(info.st_dev))
        return true;
    struct statx born;
    if (::statx(dirfd, "", AT_EMPTY_PATH, STATX_BTIME, &born) != 0 || (born.stx_mask & STATX_BTIME))
        return false;
    const QList<Mount> all = mounts();
    return std::any_of(all.begin(), all.end(), [&](const Mount &mount) {
        return mount.device == info.st_dev && mount.type == "ext2";
    });
}

bool mayRemoveFrom(int dirfd)
{
    return access({dirfd, "."}, W_OK | X_OK) && !isProtected({dirfd, "."});
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
