#include <TesCore/TESCoreUtil.h>

#include "filecopy_p.h"
#include "openfile_p.h"
#include "place_p.h"
#include <base/nativepath_p.h>

#include <cstdio>

namespace TESCoreUtil {

using namespace TesCoreFiles;

namespace {

// As many links as the kernel follows before it reports a loop.
constexpr int kMostLinks = 40;

/// Reports the error number that the failed call left.
bool failed(QString *error)
{
    if (error)
        *error = errorText(errno);
    return false;
}

bool exists(const QByteArray &path)
{
    struct stat info;
    return Place(path).status(&info);
}

bool isAccessible(const Place &place, int mode)
{
    return ::faccessat(place.folder(), place.name(), mode, AT_EACCESS) == 0;
}

bool isSpecial(mode_t mode)
{
    return !S_ISREG(mode) && !S_ISDIR(mode);
}

/// Whether two paths name one entry. True too when that cannot be found out.
bool isSameEntry(const Entry &a, const Entry &b)
{
    if (a.name != b.name)
        return false;
    struct stat folderOfA, folderOfB;
    const bool areKnown = ::fstat(a.folderFd(), &folderOfA) == 0 && ::fstat(b.folderFd(), &folderOfB) == 0;
    return !areKnown || FileId(folderOfA) == FileId(folderOfB);
}

/// Whether removing `destination`, whose status is `old`, would leave `source` without its content: both name
/// one entry, or `source` is a link that leads through `destination` or ends there. True too when that cannot
/// be found out.
bool wouldDestroy(const QByteArray &source, const Entry &destination, const struct stat &old)
{
    struct stat own;
    QByteArray path = source;
    for (int links = 0; links <= kMostLinks && !path.isNull(); ++links) {
        if (!Place(path).ownStatus(&own))
            return !meansMissing(errno);
        // Of a file with several names another one keeps the content.
        if (FileId(own) == FileId(old))
            return own.st_nlink == 1 || isSameEntry(Entry(path), destination);
        if (!S_ISLNK(own.st_mode))
            return false;
        path = linkTarget(path);
    }
    return true;
}

/// Puts the folder `from` in the place of the file `to`, onto which it cannot be renamed: the two change
/// places, and then the file goes. Where the file system cannot do that the file goes aside first.
bool replaceByFolder(const Entry &from, const Entry &to)
{
    const auto exchange = [&](const char *name) {
        return ::renameat2(from.folderFd(), name, to.folderFd(), to.nameData(), RENAME_EXCHANGE) == 0;
    };
    if (exchange(from.nameData())) {
        const QByteArray file = entryPath(from.name); // a slash after the folder's name would refuse the file
        if (::unlinkat(from.folderFd(), file.constData(), 0) == 0)
            return true;
        exchange(file.constData());
        return false;
    }
    if (errno != EINVAL && errno != ENOSYS)
        return false;
    const QByteArray aside = draftName();
    if (!renameExclusively(to.folderFd(), to.nameData(), to.folderFd(), aside.constData()))
        return false;
    if (renameExclusively(from.folderFd(), from.nameData(), to.folderFd(), to.nameData())) {
        if (::unlinkat(to.folderFd(), aside.constData(), 0) == 0)
            return true;
        renameExclusively(to.folderFd(), to.nameData(), from.folderFd(), from.nameData());
    }
    renameExclusively(to.folderFd(), aside.constData(), to.folderFd(), to.nameData());
    return false;
}

/// Puts `from` in the place of the existing file `to`, which is there until that has happened.
bool replaceEntry(const Entry &from, const Entry &to, const struct stat &source)
{
    if (!S_ISDIR(source.st_mode)) {
        if (::renameat(from.folderFd(), from.nameData(), to.folderFd(), to.nameData()) == 0)
            return true;
        return errno == EXDEV &&
               FileCopy(Durability::Durable)
                   .copy(from.folderFd(), from.nameData(), to.folderFd(), to.nameData(), Existing::Replace) &&
               removeUnchanged(from.folderFd(), from.nameData(), Snapshot(source));
    }
    return replaceByFolder(from, to);
}

/// Whether a file could be created at `path`, where nothing exists: by creating it without a name, which
/// leaves no trace even if the process is killed, or else by creating and removing it.
bool canCreate(const QByteArray &path, QString *error)
{
    const Entry entry(path);
    if (!entry.folder.isOpen())
        return failed(error);
    struct stat made, found;
    const bool isFree = !entry.name.endsWith('/') &&
                        ::fstatat(entry.folderFd(), entry.nameData(), &found, AT_SYMLINK_NOFOLLOW) != 0 &&
                        errno == ENOENT;
    if (isFree && openUnnamed(entry.folderFd()).isOpen())
        return true;
    const Descriptor probe(::openat(entry.folderFd(), entry.nameData(),
                                    O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!probe.isOpen())
        return failed(error);
    const bool areKnown = ::fstat(probe.get(), &made) == 0 &&
                          ::fstatat(entry.folderFd(), entry.nameData(), &found, AT_SYMLINK_NOFOLLOW) == 0;
    if (!areKnown || FileId(made) == FileId(found))
        ::unlinkat(entry.folderFd(), entry.nameData(), 0);
    return true;
}

} // namespace

bool DeleteFile(const QString &path, QString *error)
{
    const QByteArray native = nativePath(path);
    if (native.isNull())
        return true;
    const Place place(native);
    struct stat info;
    if (!place.status(&info))
        return meansMissing(errno) || failed(error);
    return ::unlinkat(place.folder(), place.name(), 0) == 0 || failed(error);
}

bool RenameFile(const QString &source, const QString &destination, bool overwrite)
{
    const QByteArray fromPath = nativePath(source);
    const QByteArray toPath = nativePath(destination);
    if (fromPath.isNull() || toPath.isNull() || !exists(fromPath))
        return false;
    const Entry from(fromPath);
    const Entry to(toPath);
    if (!from.folder.isOpen() || !to.folder.isOpen())
        return false;

    if (!exists(toPath)) {
        FileCopy copier(Durability::Durable);
        return moveExclusively(copier, from.folderFd(), from.nameData(), to.folderFd(), to.nameData());
    }
    struct stat old, own;
    if (!overwrite || !Place(toPath).ownStatus(&old) || S_ISDIR(old.st_mode) ||
        !Place(fromPath).ownStatus(&own) || isSameEntry(from, to) || wouldDestroy(fromPath, to, old))
        return false;
    // Two names of one file: a rename would keep both.
    if (FileId(old) == FileId(own))
        return ::unlinkat(from.folderFd(), from.nameData(), 0) == 0;
    return replaceEntry(from, to, own);
}

bool MoveFile(const QString &source, const QString &destination, bool overwrite)
{
    const QByteArray fromPath = nativePath(source);
    const QByteArray toPath = nativePath(destination);
    if (fromPath.isNull() || toPath.isNull())
        return false;
    const Entry from(fromPath);
    const Entry to(toPath);
    struct stat own, old;
    if (!from.folder.isOpen() || !to.folder.isOpen() || !Place(fromPath).ownStatus(&own))
        return false;
    const bool replaces = overwrite && exists(toPath) && Place(toPath).ownStatus(&old);
    if (replaces && (isSameEntry(from, to) || wouldDestroy(fromPath, to, old)))
        return false;

    FileCopy copier(Durability::Durable);
    if (!copier.copy(from.folderFd(), from.nameData(), to.folderFd(), to.nameData(),
                     replaces ? Existing::Replace : Existing::Keep))
        return false;
    // Its content is safe elsewhere; a source that cannot be removed, or has changed since, simply stays.
    removeUnchanged(from.folderFd(), from.nameData(), Snapshot(own));
    return true;
}

bool IsReadable(const QString &path, QString *error)
{
    const Place place(nativePath(path));
    struct stat info;
    if (place.status(&info)) {
        if (S_ISDIR(info.st_mode))
            return isAccessible(place, R_OK);
        if (isSpecial(info.st_mode))
            return isAccessible(place, R_OK) || failed(error);
    }
    return openForReading(path, error).isOpen();
}

bool IsWritable(const QString &path, QString *error)
{
    QByteArray native = nativePath(path);
    if (native.isNull())
        return openForWriting(path, O_APPEND, error).isOpen();
    const Place place(native);
    struct stat info;
    if (place.status(&info)) {
        if (S_ISDIR(info.st_mode))
            return isAccessible(place, W_OK);
        if (isSpecial(info.st_mode))
            return isAccessible(place, W_OK) || failed(error);
        return openForWriting(path, O_APPEND, error).isOpen();
    }
    if (errno == ELOOP)
        return failed(error);
    // A link whose target is missing: the file would be created where it leads.
    for (int links = 0; links < kMostLinks && Place(native).ownStatus(&info) && S_ISLNK(info.st_mode);
         ++links)
        native = linkTarget(native);
    return canCreate(native, error);
}

} // namespace TESCoreUtil
