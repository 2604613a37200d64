#include "filecopy_p.h"

#include "folderchain_p.h"

#include <QByteArray>
#include <QUuid>

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/sendfile.h>

namespace TesCoreFiles {

namespace {

// One read and one write: up to this size a copy in the kernel costs more calls than it saves.
constexpr std::size_t kBlockSize = std::size_t{64} * 1024;
constexpr std::size_t kKernelChunk = 1 << 30;
constexpr mode_t kPermissions = S_IRWXU | S_IRWXG | S_IRWXO;

bool sync(int fd)
{
    return retrying([&] { return ::fsync(fd); }) == 0;
}

Descriptor openLooked(int folder, const char *name, int flags, struct stat *info)
{
    Descriptor file = openFile(folder, name, O_RDONLY | flags);
    if (!file.isOpen() || (::fstat(file.get(), info) == 0 && S_ISREG(info->st_mode)))
        return file;
    errno = EINVAL;
    return Descriptor();
}

Descriptor openRegular(int folder, const char *name, Known known, struct stat *info)
{
    // Spares a call for nearly all files of a tree.
    if (known == Known::ListedFile) {
        Descriptor file = openLooked(folder, name, O_NOFOLLOW, info);
        if (file.isOpen() || errno != ELOOP)
            return file;
    }
    // Looked at before it is opened: opening a device may already act on it.
    if (::fstatat(folder, name, info, 0) != 0)
        return Descriptor();
    errno = EINVAL;
    return S_ISREG(info->st_mode) ? openLooked(folder, name, 0, info) : Descriptor();
}

bool isFile(int folder, const char *name)
{
    struct stat info;
    return ::fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) == 0 && !S_ISDIR(info.st_mode);
}

/// Makes the names in `folder` durable, where `file` has just been given one.
bool syncName(int file, int folder)
{
    const Descriptor names = openFolder(folder, ".", Links::Refuse, Access::List);
    // A folder that may be written to but not read cannot be synced by itself.
    return names.isOpen() ? sync(names.get()) : ::syncfs(file) == 0;
}

/// Gives a file that was just created the permissions that the umask, or the folder's default, kept from it.
/// Looking costs half of setting, and much less where setting is a transaction.
void setPermissions(int file, mode_t mode)
{
    struct stat info;
    if (::fstat(file, &info) != 0 || (info.st_mode & kPermissions) != mode)
        ::fchmod(file, mode); // not every file system has permissions to set; the content is what counts
}

bool isUnsupported(int errorNumber)
{
    return errorNumber == EINVAL || errorNumber == ENOSYS || errorNumber == EOPNOTSUPP ||
           errorNumber == EPERM;
}

void removeKeepingErrno(int folder, const char *name, int flags)
{
    const int reason = errno;
    ::unlinkat(folder, name, flags);
    errno = reason;
}

/// For file systems that can neither rename exclusively nor make hard links: an empty entry reserves the
/// name.
bool renameOntoPlaceholder(int fromFolder, const char *from, int toFolder, const char *to)
{
    const bool isForFile = isFile(fromFolder, from);
    if (isForFile) {
        const Descriptor placeholder(::openat(toFolder, to, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (!placeholder.isOpen())
            return false;
    } else if (::mkdirat(toFolder, to, 0700) != 0) {
        return false;
    }
    if (::renameat(fromFolder, from, toFolder, to) == 0)
        return true;
    removeKeepingErrno(toFolder, to, isForFile ? 0 : AT_REMOVEDIR);
    return false;
}

} // namespace

QByteArray draftName()
{
    return '.' + QUuid::createUuid().toByteArray().mid(1, 36);
}

Descriptor openUnnamed(int folder, mode_t mode)
{
    return Descriptor(
        retrying([&] { return ::openat(folder, ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, mode); }));
}

bool FileCopy::copy(int fromFolder, const char *from, int toFolder, const char *to, Existing existing,
                    Known known, Snapshot *source)
{
    struct stat info;
    const Descriptor file = openRegular(fromFolder, from, known, &info);
    if (!file.isOpen())
        return false;
    if (source)
        *source = Snapshot(info);
    return copyUnnamed(file.get(), info, toFolder, to, existing) ||
           (!m_canStayUnnamed && copyUnderDraftName(file.get(), info, toFolder, to, existing));
}

bool FileCopy::copyUnnamed(int source, const struct stat &info, int toFolder, const char *to,
                           Existing existing)
{
    if (!m_canStayUnnamed)
        return false;
    Descriptor copy = openUnnamed(toFolder, info.st_mode & kPermissions);
    if (!copy.isOpen()) {
        m_canStayUnnamed = !isUnsupported(errno) && errno != EISDIR;
        return false;
    }
    if (!finish(source, info, copy.get()))
        return false;
    if (link(copy.get(), toFolder, to) ||
        (errno == EEXIST && existing == Existing::Replace && replace(copy.get(), toFolder, to)))
        return settle(std::move(copy), toFolder, to, existing);
    m_canStayUnnamed = errno != ENOENT && !isUnsupported(errno);
    return false;
}

bool FileCopy::copyUnderDraftName(int source, const struct stat &info, int toFolder, const char *to,
                                  Existing existing)
{
    if (::lseek(source, 0, SEEK_SET) != 0)
        return false;
    const QByteArray draft = draftName();
    Descriptor copy(::openat(toFolder, draft.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!copy.isOpen())
        return false;
    const auto publish = [&] {
        return existing == Existing::Replace ? ::renameat(toFolder, draft.constData(), toFolder, to) == 0
                                             : renameExclusively(toFolder, draft.constData(), toFolder, to);
    };
    if (finish(source, info, copy.get()) && publish())
        return settle(std::move(copy), toFolder, to, existing);
    removeKeepingErrno(toFolder, draft.constData(), 0);
    return false;
}

bool FileCopy::finish(int source, const struct stat &info, int copy)
{
    if (!write(source, info, copy))
        return false;
    setPermissions(copy, info.st_mode & kPermissions);
    return m_durability == Durability::None || sync(copy);
}

/// Makes the name of a finished copy durable too, and lets a file system that writes on closing tell its
/// errors.
bool FileCopy::settle(Descriptor copy, int toFolder, const char *to, Existing existing)
{
    if (m_durability == Durability::Durable ? syncName(copy.get(), toFolder) : bool(copy.close()))
        return true;
    // What may have taken the place of a file is not removed: that file is gone.
    if (existing == Existing::Keep)
        removeKeepingErrno(toFolder, to, 0);
    return false;
}

bool FileCopy::write(int source, const struct stat &info, int copy)
{
    const bool isSmall =
        info.st_size <= off_t(kBlockSize); // also what says it is empty and is not, as in /proc
    if (isSmall)
        return writeBlocks(source, info, copy);
    if (m_canReflink && ::ioctl(copy, FICLONE, source) == 0)
        return true;
    m_canReflink = false;
    if (info.st_blocks * 512 < info.st_size && writeExtents(source, info, copy))
        return true;
    // Extents are found by moving the offset: without the way back the copy would lack its beginning.
    if (::lseek(source, 0, SEEK_SET) != 0)
        return false;
    writeInKernel(source, copy);
    return writeBlocks(source, info, copy);
}

/// Gives the unnamed file `copy` a name that must be free.
bool FileCopy::link(int copy, int folder, const char *name)
{
    if (m_canLinkDescriptor && ::linkat(copy, "", folder, name, AT_EMPTY_PATH) == 0)
        return true;
    if (m_canLinkDescriptor && errno == EEXIST)
        return false;
    // Without the capability that the short way wants, the file is reached through its descriptor's entry.
    if (::linkat(AT_FDCWD, DescriptorPath(copy).text(), folder, name, AT_SYMLINK_FOLLOW) != 0)
        return false;
    m_canLinkDescriptor = false;
    return true;
}

/// Puts the unnamed file `copy` in the place of a file: a link cannot do that, but a rename can.
bool FileCopy::replace(int copy, int folder, const char *name)
{
    const QByteArray draft = draftName();
    if (!link(copy, folder, draft.constData()))
        return false;
    if (::renameat(folder, draft.constData(), folder, name) == 0)
        return true;
    removeKeepingErrno(folder, draft.constData(), 0);
    return false;
}

/// Goes as far as the kernel can. Both offsets then stand where it stopped: writeBlocks() goes on from there
/// and meets the end, or the error, itself.
void FileCopy::writeInKernel(int source, int copy)
{
    ssize_t length;
    do {
        length = retrying([&] { return ::copy_file_range(source, nullptr, copy, nullptr, kKernelChunk, 0); });
    } while (length > 0);
    while (length < 0 && retrying([&] { return ::sendfile(copy, source, nullptr, kKernelChunk); }) > 0) {
    }
}

/// Copies the stretches of a sparse file that hold data, and leaves its holes holes.
bool FileCopy::writeExtents(int source, const struct stat &info, int copy)
{
    off_t end = 0;
    for (;;) {
        off_t start = ::lseek(source, end, SEEK_DATA);
        if (start < 0)
            break;
        end = ::lseek(source, start, SEEK_HOLE);
        if (end < 0)
            return false;
        off_t target = start;
        while (start < end) {
            const ssize_t length = retrying([&] {
                return ::copy_file_range(source, &start, copy, &target, std::size_t(end - start), 0);
            });
            if (length <= 0)
                return false;
        }
    }
    return errno == ENXIO && ::ftruncate(copy, info.st_size) == 0;
}

bool FileCopy::writeBlocks(int source, const struct stat &info, int copy)
{
    if (!m_block)
        m_block = std::make_unique<char[]>(kBlockSize);
    for (;;) {
        const ssize_t length = retrying([&] { return ::read(source, m_block.get(), kBlockSize); });
        if (length <= 0)
            return length == 0;
        if (!TesCoreBase::writeAll(copy, m_block.get(), std::size_t(length)))
            return false;
        // A whole file that left room in the first block needs no other read to find its end.
        if (length == info.st_size && std::size_t(length) < kBlockSize)
            return true;
    }
}

bool syncFileSystem(int folder)
{
    Descriptor onIt = openFolder(folder, ".", Links::Refuse, Access::List);
    if (!onIt.isOpen()) // it may be written to but not read
        onIt = openUnnamed(folder, 0);
    return onIt.isOpen() && ::syncfs(onIt.get()) == 0;
}

bool renameExclusively(int fromFolder, const char *from, int toFolder, const char *to)
{
    if (::renameat2(fromFolder, from, toFolder, to, RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return false;
    // The file system cannot rename exclusively. A second name for a file is exclusive too.
    if (isFile(fromFolder, from) && ::linkat(fromFolder, from, toFolder, to, 0) == 0) {
        if (::unlinkat(fromFolder, from, 0) == 0)
            return true;
        removeKeepingErrno(toFolder, to, 0);
        return false;
    }
    return errno != EEXIST && renameOntoPlaceholder(fromFolder, from, toFolder, to);
}

bool removeUnchanged(int folder, const char *name, const Snapshot &expected)
{
    struct stat info;
    if (::fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) != 0)
        return false;
    errno = ESTALE;
    return Snapshot(info) == expected && ::unlinkat(folder, name, 0) == 0;
}

bool moveExclusively(FileCopy &copier, int fromFolder, const char *from, int toFolder, const char *to)
{
    if (renameExclusively(fromFolder, from, toFolder, to))
        return true;
    struct stat info;
    if (errno != EXDEV || ::fstatat(fromFolder, from, &info, AT_SYMLINK_NOFOLLOW) != 0 ||
        !copier.copy(fromFolder, from, toFolder, to, Existing::Keep))
        return false;
    if (removeUnchanged(fromFolder, from, Snapshot(info)))
        return true;
    // The source stays where it is, so the copy goes; but only when the source is there to be seen.
    const int reason = errno;
    if (::fstatat(fromFolder, from, &info, AT_SYMLINK_NOFOLLOW) == 0)
        ::unlinkat(toFolder, to, 0);
    errno = reason;
    return false;
}

} // namespace TesCoreFiles
