#include <TesCore/TESCoreUtil.h>

#include "copyrecord_p.h"
#include "filecopy_p.h"
#include "place_p.h"
#include "treewalk_p.h"
#include <base/nativepath_p.h>

#include <limits>

namespace TESCoreUtil {

using namespace TesCoreFiles;

namespace {

constexpr mode_t kNewFolder = S_IRWXU | S_IRWXG | S_IRWXO; // less the umask

bool isFolder(const QByteArray &path)
{
    struct stat info;
    return Place(path).status(&info) && S_ISDIR(info.st_mode);
}

bool isMissing(const QByteArray &path)
{
    struct stat info;
    return !Place(path).status(&info) && meansMissing(errno);
}

/// Whether the folder `id` is somewhere in the tree `path`. Looks from above, and so sees what is mounted
/// there from elsewhere.
bool holdsFolder(const QByteArray &path, const FileId &id)
{
    TreeWalk walk(Order::None);
    if (!walk.open(Place(path), Links::Follow))
        return false;
    while (walk.next()) {
        if (!walk.atFolderEnd() && walk.isFolder() && !walk.isLink() && walk.enter() && walk.id() == id)
            return true;
    }
    return walk.failed();
}

/// Whether moving or copying `source` to `destination` would write into `source` itself. True too when that
/// cannot be found out.
bool leadsIntoItself(const QByteArray &source, const QByteArray &destination)
{
    struct stat own, info;
    const Place from(source);
    if (!from.status(&own))
        return !meansMissing(errno);
    const Descriptor nearest = openNearestExisting(destination);
    if (!nearest.isOpen() || ::fstat(nearest.get(), &info) != 0 || isInside(nearest, FileId(own)))
        return true;
    return own.st_dev == info.st_dev && !areOnOneMount(from, nearest) && holdsFolder(source, FileId(info));
}

/// Whether one of two folders is in the tree of the other, by whatever mounts.
bool holdOneAnother(const QByteArray &a, const QByteArray &b)
{
    struct stat infoOfA, infoOfB;
    return Place(a).status(&infoOfA) && Place(b).status(&infoOfB) &&
           (holdsFolder(a, FileId(infoOfB)) || holdsFolder(b, FileId(infoOfA)));
}

/// Deletes what is in the folder in which `walk` stands. False, and errno set, at the first failure.
bool deleteEntries(TreeWalk &walk)
{
    while (walk.next()) {
        int flags = 0;
        if (walk.atFolderEnd()) {
            flags = AT_REMOVEDIR;
        } else if (walk.isFolder() && !walk.isLink()) {
            if (walk.enter())
                continue;
            flags = AT_REMOVEDIR; // goes all the same if there is nothing in it
        }
        if (::unlinkat(walk.fd(), walk.name(), flags) != 0)
            return false;
    }
    return !walk.failed();
}

/// Deletes the folder `place`, which is no link, with what is in it.
bool deleteTree(const Place &place)
{
    TreeWalk walk(Order::ByName);
    if (walk.open(place, Links::Refuse) && !deleteEntries(walk))
        return false;
    return ::unlinkat(place.folder(), place.name(), AT_REMOVEDIR) == 0;
}

Known known(const TreeWalk &walk)
{
    return walk.isFile() && !walk.isLink() ? Known::ListedFile : Known::Nothing;
}

/// Copies what `walk` visits into the folder in which `destination` stands, and notes it in `record`, which
/// may be null. Stops at the first failure.
bool copyEntries(TreeWalk &walk, FolderChain &destination, CopyRecord *record)
{
    FileCopy copier(Durability::None);
    walk.keepOutOf(destination);
    while (walk.next()) {
        const char *name = walk.name();
        if (walk.atFolderEnd()) {
            if (!destination.leave())
                return false;
            if (record)
                record->left();
        } else if (walk.isFolder()) {
            if (::mkdirat(destination.fd(), name, kNewFolder) != 0 || (record && !record->entering(walk)) ||
                !destination.enter(name, Links::Refuse) || !walk.enter())
                return false;
        } else {
            Snapshot source;
            if (!copier.copy(walk.fd(), name, destination.fd(), name, Existing::Keep, known(walk), &source) ||
                (record && !record->copied(walk, source)))
                return false;
        }
    }
    return !walk.failed();
}

/// Takes a walk and the folder that it fills one level down. Neither moves where one of them cannot.
bool enterBoth(TreeWalk &walk, FolderChain &target, Links links)
{
    if (!target.enter(walk.name(), links))
        return false;
    if (walk.enter())
        return true;
    target.leave();
    return false;
}

/// Opens the folder `path`, which is made first, with its missing parents, where it does not exist.
bool openOrMake(FolderChain &folder, const QByteArray &path)
{
    return (isFolder(path) || makeFolders(path, kNewFolder)) && folder.open(Place(path), Links::Follow);
}

QString absoluteFolder(const QString &path, const QByteArray &native)
{
    const QDir folder(path);
    const QString cleaned = folder.absolutePath();
    struct stat asGiven, asCleaned;
    // Taking ".." out of a path by its text leads elsewhere when a link stands before it.
    const bool isSame = Place(native).status(&asGiven) && Place(encodedName(cleaned)).status(&asCleaned) &&
                        FileId(asGiven) == FileId(asCleaned);
    return isSame ? cleaned : folder.canonicalPath();
}

/// The path to read from: an empty one stands for the working folder, as for QDir.
QByteArray pathToRead(const QString &path)
{
    return path.isEmpty() ? QByteArrayLiteral(".") : nativePath(path);
}

} // namespace

bool MoveDirectoryQuick(const QString &source, const QString &destination)
{
    const QByteArray from = nativePath(source);
    const QByteArray to = nativePath(destination);
    if (from.isNull() || to.isNull() || !isFolder(from) || leadsIntoItself(from, to))
        return false;
    TreeWalk walk(Order::ByName);
    FolderChain target(Access::Fill);
    if (!walk.open(Place(from), Links::Follow) || !openOrMake(target, to))
        return false;

    FileCopy copier(Durability::Durable);
    bool isComplete = true;
    walk.keepOutOf(target);
    while (walk.next()) {
        const char *name = walk.name();
        bool isDone = true;
        if (walk.atFolderEnd()) {
            if (!target.leave())
                return false;
        } else if (walk.isFolder()) {
            isDone = ::mkdirat(target.fd(), name, kNewFolder) == 0 && enterBoth(walk, target, Links::Refuse);
        } else if (walk.isFile()) {
            isDone = moveExclusively(copier, walk.fd(), name, target.fd(), name);
        }
        isComplete = isComplete && isDone;
    }
    return isComplete && !walk.failed();
}

bool MoveDirectory(const QString &source, const QString &destination)
{
    return MoveDirectoryCopy(source, destination);
}

bool MoveDirectoryCopy(const QString &source, const QString &destination)
{
    const QByteArray from = nativePath(source);
    const QByteArray to = nativePath(destination);
    struct stat info;
    if (from.isNull() || to.isNull() || !isFolder(from) || leadsIntoItself(from, to) ||
        leadsIntoItself(to, from) || holdOneAnother(from, to))
        return false;
    // Opened and listed before anything is deleted: a source that cannot be read costs the destination
    // nothing.
    TreeWalk walk(Order::ByName);
    FolderChain target(Access::Fill);
    if (!walk.open(Place(from), Links::Follow) || (!isMissing(to) && !DeleteFolderContents(destination)) ||
        !openOrMake(target, to))
        return false;

    CopyRecord record;
    if (!copyEntries(walk, target, &record) || !syncFileSystem(target.rootFd()))
        return false;
    const Place root(entryPath(from));
    if (!root.ownStatus(&info))
        return false;
    return S_ISLNK(info.st_mode) ? ::unlinkat(root.folder(), root.name(), 0) == 0
                                 : record.deleteFrom(root, walk.rootId());
}

bool CopyDirectory(const QDir &source, const QDir &destination)
{
    const QByteArray from = nativePath(source.path());
    const QByteArray to = nativePath(destination.path());
    if (from.isNull() || to.isNull())
        return false;
    FolderChain target(Access::Fill);
    struct stat info;
    if (!Place(from).status(&info) ? meansMissing(errno) : !S_ISDIR(info.st_mode))
        return openOrMake(target, to);

    TreeWalk walk(Order::ByName);
    walk.sortAs(source.sorting());
    return !leadsIntoItself(from, to) && walk.open(Place(from), Links::Follow) && openOrMake(target, to) &&
           copyEntries(walk, target, nullptr);
}

void CopyFiles(const QString &source, const QString &destination)
{
    const QByteArray from = pathToRead(source);
    const QByteArray to = nativePath(destination);
    TreeWalk walk(Order::ByName);
    if (from.isNull() || to.isNull() || leadsIntoItself(from, to) || !walk.open(Place(from), Links::Follow))
        return;

    FileCopy copier(Durability::None);
    FolderChain target(Access::Fill);
    bool isOpen = isFolder(to) && target.open(Place(to), Links::Follow);
    walk.keepOutOf(target);
    while (walk.next()) {
        const char *name = walk.name();
        if (walk.atFolderEnd()) {
            if (!target.leave())
                return;
        } else if (walk.isFile()) {
            if (isOpen)
                copier.copy(walk.fd(), name, target.fd(), name, Existing::Keep, known(walk));
        } else {
            // The first sub-folder makes the destination itself, if need be.
            isOpen = isOpen || openOrMake(target, to);
            if (isOpen) {
                ::mkdirat(target.fd(), name, kNewFolder);
                if (walk.isFolder())
                    enterBoth(walk, target, Links::Follow);
            }
        }
    }
}

bool DeleteFolderAndFiles(const QString &path)
{
    const QByteArray native = nativePath(path);
    if (native.isNull())
        return true;
    const QByteArray entry = entryPath(native);
    const Place place(entry);
    struct stat info;
    if (!place.ownStatus(&info))
        return meansMissing(errno);
    if (S_ISDIR(info.st_mode))
        return deleteTree(place);
    if (!place.status(&info))
        return meansMissing(errno); // a link whose target is missing is invisible
    return S_ISDIR(info.st_mode) && ::unlinkat(place.folder(), place.name(), 0) == 0;
}

bool DeleteFolderContents(const QString &path)
{
    const QByteArray native = nativePath(path);
    if (native.isNull())
        return !path.isEmpty();
    const QByteArray entry = entryPath(native);
    const Place place(entry);
    struct stat info;
    if (!place.ownStatus(&info))
        return meansMissing(errno);
    if (!S_ISDIR(info.st_mode))
        return !S_ISLNK(info.st_mode);
    TreeWalk walk(Order::ByName);
    return walk.open(place, Links::Refuse) && deleteEntries(walk);
}

QStringList RecursiveGetFiles(const QString &path)
{
    const QByteArray native = pathToRead(path);
    QStringList files;
    TreeWalk walk(Order::ByName);
    if (native.isNull() || !walk.open(Place(native), Links::Follow))
        return files;

    QString prefix = absoluteFolder(path, native);
    if (!prefix.endsWith(QLatin1Char('/')))
        prefix += QLatin1Char('/');
    std::vector<int> lengths; // of the prefixes of the folders above
    while (walk.next()) {
        if (walk.atFolderEnd()) {
            prefix.truncate(lengths.back());
            lengths.pop_back();
        } else if (walk.isFile()) {
            files.append(prefix + textName(walk.name()));
        } else if (walk.isFolder() && walk.enter()) {
            lengths.push_back(int(prefix.size()));
            prefix += textName(walk.name()) + QLatin1Char('/');
        }
    }
    return files;
}

int getFileAndDirCount(const QString &path)
{
    const QByteArray native = pathToRead(path);
    TreeWalk walk(Order::None);
    if (native.isNull() || !walk.open(Place(native), Links::Follow))
        return 0;
    int count = 0;
    while (walk.next()) {
        if (walk.atFolderEnd())
            continue;
        if (count < std::numeric_limits<int>::max())
            ++count;
        if (walk.isFolder() && !walk.isLink())
            walk.enter();
    }
    return count;
}

QStringList fileNames(const QList<QFileInfo> &infos)
{
    QStringList names;
    names.reserve(infos.size());
    for (const QFileInfo &info : infos)
        names.append(info.fileName());
    return names;
}

} // namespace TESCoreUtil
