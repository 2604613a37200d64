#include <TesCore/TESCoreUtil.h>

#include "filemove_p.h"
#include "openfile_p.h"
#include "overlap_p.h"
#include "qtpath_p.h"
#include "rename_p.h"
#include "resources_p.h"

#include <base/exceptions_p.h>
#include <base/nativepath_p.h>

#include <cstring>

#include <dirent.h>

namespace TESCoreUtil {

using namespace TesCoreFiles;

namespace {

// As many links as the kernel follows before it reports a loop.
constexpr int kMaxLinks = 40;

/// False; tells why.
bool failed(Result failure, QString *error)
{
    if (error)
        *error = errorText(failure.error());
    return false;
}

bool exists(const QByteArray &path)
{
    struct stat info;
    return bool(Path(path).status(&info));
}

/// Whether two paths name one entry. True too when that is unknown.
bool isSameEntry(const Entry &a, const Entry &b)
{
    if (a.name() != b.name())
        return false;
    struct stat folderOfA, folderOfB;
    const bool areKnown = ::fstat(a.at().dirfd, &folderOfA) == 0 && ::fstat(b.at().dirfd, &folderOfB) == 0;
    return !areKnown || FileId(folderOfA) == FileId(folderOfB);
}

/// Whether removing `destination`, whose status is `old`, would leave `source` without its content: both name
/// one entry, or `source` is a link that leads through `destination` or ends there. True too when that is
/// unknown.
bool wouldDestroy(const QByteArray &source, const Entry &destination, const struct stat &old)
{
    struct stat own;
    QByteArray path = source;
    for (int links = 0; links <= kMaxLinks && !path.isNull(); ++links) {
        if (const Result found = Path(path).linkStatus(&own); !found)
            return !meansMissing(found);
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
bool replaceByFolder(const Entry &from, At to)
{
    const QByteArray name = entryPath(from.name()); // a slash after the folder's name would refuse the file
    const At source{from.at().dirfd, name.constData()};
    const Result exchanged = exchange(source, to);
    if (exchanged) {
        const Result removed = unlink(source);
        // What cannot be put back has lost nothing: both are there.
        if (!removed && isCertainlyUndone(removed))
            static_cast<void>(exchange(source, to));
        return bool(removed);
    }
    if (!isUnsupported(exchanged))
        return false;
    const QByteArray asideName = temporaryName();
    const At aside{to.dirfd, asideName.constData()};
    if (!renameExclusively(to, aside))
        return false;
    Result done = renameExclusively(source, to);
    if (done) {
        done = unlink(aside);
        if (done || !isCertainlyUndone(done) || !renameExclusively(to, source))
            return bool(done);
    }
    static_cast<void>(renameExclusively(aside, to));
    return false;
}

/// Gives a file that is to be moved to `to` its new name by `rename`, or moves it as from another file
/// system: also where a rename reaches the disk by halves, unless that has no room for a copy.
template <typename Rename>
Result renameOrMove(At from, const struct stat &own, At to, Existing existing, Rename rename)
{
    const bool isByHalves = S_ISREG(own.st_mode) && own.st_nlink == 1 && renamesByHalves(to.dirfd);
    const Result renamed = isByHalves ? Result(EXDEV) : rename();
    if (renamed.error() != EXDEV)
        return renamed;
    const Result moved = moveFile(from, to, existing, IfSourceStays::Fails);
    return isByHalves && isFull(moved) ? rename() : moved;
}

/// Puts `from`, whose own status is `own`, in the place of the existing file `to`, whose own is `old`.
bool replaceEntry(const QByteArray &fromPath, const Entry &from, const struct stat &own, const Entry &to,
                  const struct stat &old)
{
    if (S_ISDIR(old.st_mode) || isSameEntry(from, to) || wouldDestroy(fromPath, to, old) ||
        !mayRemove(from.at(), own) || !mayRemove(to.at(), old))
        return false;
    if (S_ISDIR(own.st_mode))
        return replaceByFolder(from, to.at());
    // Two names of one file: a rename would keep both.
    if (FileId(old) == FileId(own))
        return bool(unlink(from.at()));
    struct stat folder;
    const bool isNear = ::fstat(to.at().dirfd, &folder) == 0 && folder.st_dev == own.st_dev;
    return bool(renameOrMove(from.at(), own, to.at(), Existing::Replace,
                             [&] { return isNear ? renameOver(from.at(), to.at()) : Result(EXDEV); }));
}

/// Whether the folder has an entry that is spelled in just this way. True too when that is unknown.
bool isListed(At entry)
{
    const int fd = ::openat(entry.dirfd, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR *folder = fd >= 0 ? ::fdopendir(fd) : nullptr;
    bool isFound = !folder;
    while (const dirent *other =
               isFound ? nullptr : ::readdir(folder)) // NOLINT(concurrency-mt-unsafe): its own
        isFound = std::strcmp(other->d_name, entry.name) == 0;
    if (folder)
        ::closedir(folder);
    return isFound;
}

/// Whether `to`, where something exists, is another spelling of `from` on a file system that ignores case.
/// Their inode numbers do not tell: some such file systems give each spelling its own.
bool isOtherSpelling(const Entry &from, const Entry &to)
{
    struct stat folderOfFrom, folderOfTo;
    const QString fromName = QString::fromUtf8(from.name()), toName = QString::fromUtf8(to.name());
    return from.name() != to.name() && fromName.compare(toName, Qt::CaseInsensitive) == 0 &&
           ::fstat(from.at().dirfd, &folderOfFrom) == 0 && ::fstat(to.at().dirfd, &folderOfTo) == 0 &&
           FileId(folderOfFrom) == FileId(folderOfTo) && !isListed(to.at());
}

bool renameFile(const QByteArray &fromPath, const QByteArray &toPath, bool overwrite)
{
    const Entry from(fromPath), to(toPath);
    struct stat own, old;
    if (!from.result() || !to.result() || !exists(fromPath) || !linkStatus(from.at(), &own) ||
        (S_ISDIR(own.st_mode) && leadsInto(toPath, fromPath)))
        return false;
    const bool isTaken = exists(toPath);
    if (isTaken && isOtherSpelling(from, to))
        return bool(rename(from.at(), to.at()));
    if (isTaken)
        return overwrite && linkStatus(to.at(), &old) && replaceEntry(fromPath, from, own, to, old);
    return bool(renameOrMove(from.at(), own, to.at(), Existing::Keep,
                             [&] { return renameExclusively(from.at(), to.at()); }));
}

bool copyAndRemove(const QByteArray &fromPath, const QByteArray &toPath, bool overwrite)
{
    const Entry from(fromPath), to(toPath);
    struct stat old;
    if (!from.result() || !to.result())
        return false;
    const bool isReplacing = overwrite && exists(toPath) && linkStatus(to.at(), &old);
    if (isReplacing && (S_ISDIR(old.st_mode) || isSameEntry(from, to) || wouldDestroy(fromPath, to, old) ||
                        !mayRemove(to.at(), old)))
        return false;
    return bool(moveFile(from.at(), to.at(), isReplacing ? Existing::Replace : Existing::Keep,
                         IfSourceStays::CopyIsEnough));
}

/// Whether a file could be created at `path`, where nothing exists: by creating it without a name, which
/// leaves no trace even if the process is killed, or else by creating and removing it.
Result canCreate(const QByteArray &path)
{
    const Entry entry(path);
    if (!entry.result())
        return entry.result();
    struct stat made, found;
    const bool isFree = !entry.name().endsWith('/') && linkStatus(entry.at(), &found).error() == ENOENT;
    if (isFree && openUnnamed(entry.at().dirfd).isOpen())
        return Result();
    const Descriptor probe(::openat(entry.at().dirfd, entry.at().name,
                                    O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!probe.isOpen())
        return probe.result();
    const bool areKnown = ::fstat(probe.get(), &made) == 0 && linkStatus(entry.at(), &found);
    if (!areKnown || FileId(made) == FileId(found))
        static_cast<void>(unlink(entry.at())); // an empty file at worst
    return Result();
}

bool isWritable(const QString &path, QString *error)
{
    if (isResourceFolder(path))
        return QFileInfo(path).isWritable();
    QByteArray native = diskPath(path);
    if (native.isNull())
        return openForWriting(path, O_APPEND, error).isOpen();
    const Path existing(native);
    struct stat info;
    Result result = existing.status(&info);
    if (result && S_ISDIR(info.st_mode))
        return bool(access(existing.at(), W_OK));
    if (result) {
        result = S_ISREG(info.st_mode) ? openFile(existing.at(), O_WRONLY | O_APPEND).result()
                                       : access(existing.at(), W_OK);
    } else if (result.error() != ELOOP) {
        // A link whose target is missing: the file would be created where it leads.
        for (int i = 0; i < kMaxLinks && Path(native).linkStatus(&info) && S_ISLNK(info.st_mode); ++i)
            native = linkTarget(native);
        result = canCreate(native);
    }
    return result || failed(result, error);
}

bool isReadable(const QString &path, QString *error)
{
    if (isResourceFolder(path))
        return QFileInfo(path).isReadable();
    const QByteArray native = diskPath(path);
    if (native.isNull())
        return openForReading(path, error).isOpen();
    const Path existing(native);
    struct stat info;
    Result result = existing.status(&info);
    if (result && S_ISDIR(info.st_mode))
        return bool(access(existing.at(), R_OK));
    if (result)
        result =
            S_ISREG(info.st_mode) ? openFile(existing.at(), O_RDONLY).result() : access(existing.at(), R_OK);
    return result || failed(result, error);
}

} // namespace

bool DeleteFile(const QString &path, QString *error)
{
    return orFailure([&] {
        const QByteArray native = diskPath(path);
        if (native.isNull())
            return !isResource(path) || deleteResource(path, error);
        const Path file(native);
        struct stat info;
        Result result = file.status(&info);
        if (!result)
            return meansMissing(result) || failed(result, error);
        result = unlink(file.at());
        // Another process that deletes the same is welcome to be quicker.
        return result || result.error() == ENOENT || failed(result, error);
    });
}

bool RenameFile(const QString &source, const QString &destination, bool overwrite)
{
    return orFailure([&] {
        const QByteArray from = diskPath(source), to = diskPath(destination);
        return !from.isNull() && !to.isNull() && renameFile(from, to, overwrite);
    });
}

bool MoveFile(const QString &source, const QString &destination, bool overwrite)
{
    return orFailure([&] {
        const QByteArray to = diskPath(destination);
        const Descriptor resource = isResource(source) ? openResourceFile(source) : Descriptor();
        const QByteArray from = resource.isOpen() ? DescriptorPath(resource.get()).text() : diskPath(source);
        return !from.isNull() && !to.isNull() && copyAndRemove(from, to, overwrite);
    });
}

bool IsReadable(const QString &path, QString *error)
{
    return orFailure([&] { return isReadable(path, error); });
}

bool IsWritable(const QString &path, QString *error)
{
    return orFailure([&] { return isWritable(path, error); });
}

} // namespace TESCoreUtil
