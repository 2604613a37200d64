#include <TesCore/TESCoreUtil.h>

#include "journal_p.h"
#include "overlap_p.h"
#include "qtpath_p.h"
#include "rename_p.h"
#include "resources_p.h"
#include "targettree_p.h"

#include <base/exceptions_p.h>
#include <base/nativepath_p.h>

#include <algorithm>
#include <limits>
#include <optional>

namespace TESCoreUtil {

using namespace TesCoreFiles;

namespace {

bool isFolder(const QByteArray &path)
{
    struct stat info;
    return Path(path).status(&info) && S_ISDIR(info.st_mode);
}

/// Deletes an entry; another process that does the same is welcome to be quicker.
bool remove(At entry, int flags = 0)
{
    const Result removed = unlink(entry, flags);
    return removed || removed.error() == ENOENT;
}

/// Deletes what is in the folder in which `walk` stands. Stops at the first failure.
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
        if (!remove(walk.entry(), flags))
            return false;
    }
    return !walk.failed();
}

/// Deletes the folder `path`, which is no link, with what is in it.
bool deleteTree(const Path &path)
{
    TreeWalk walk(Order::ByName);
    if (walk.open(path.at(), Links::NoFollow) && !deleteEntries(walk))
        return false;
    return remove(path.at(), AT_REMOVEDIR);
}

/// Deletes what is visible in the folder `path`.
bool deleteContents(const QByteArray &path)
{
    const QByteArray entry = entryPath(path);
    const Path folder(entry);
    struct stat info;
    if (const Result found = folder.linkStatus(&info); !found)
        return meansMissing(found);
    if (!S_ISDIR(info.st_mode))
        return !S_ISLNK(info.st_mode);
    TreeWalk walk(Order::ByName);
    const Result opened = walk.open(folder.at(), Links::NoFollow);
    return opened ? deleteEntries(walk) : opened.error() == ENOENT;
}

/// Copies what `walk` visits into `target`. Stops at the first failure.
bool copyEntries(TreeWalk &walk, TargetTree &target)
{
    FileCopy copier(Carry::Permissions);
    walk.exclude(target.stack());
    while (walk.next()) {
        const At copy{target.dirfd(), walk.name()};
        Result done;
        if (walk.atFolderEnd()) {
            done = target.leave(walk);
        } else if (walk.isFolder()) {
            done = target.make(walk);
            if (done)
                done = target.enter(walk, Links::NoFollow);
        } else {
            done = walk.isLink() ? copier.copy(walk.entry(), copy) : copier.copyListed(walk.entry(), copy);
        }
        if (!done)
            return false;
    }
    return !walk.failed();
}

/// Stages the file on which `walk` stands.
Result stageFile(const TreeWalk &walk, bool mayLink, At to, FileStage &stage, StagedFile &staged)
{
    struct stat info;
    if (!mayLink && !walk.isLink())
        return stage.stageCopy(walk.entry(), true, to, &staged);
    if (const Result found = linkStatus(walk.entry(), &info); !found)
        return found;
    staged = {mayLink && !walk.isLink(), {Stamp(info), Stamp(info)}}; // in case that it must be taken back
    if (!walk.isLink())
        return stage.stage(walk.entry(), info, true, to, &staged);
    const Result copied = stage.stageCopy(walk.entry(), false, to, &staged);
    staged.stamps.original = Stamp(info); // a link gives its content and goes itself
    return copied;
}

/// Stages what `walk` visits in `target`, and notes it in `journal`. Stops at the first failure. `mayLink`
/// tells that the source may give up its names.
bool stageEntries(TreeWalk &walk, TargetTree &target, FileStage &stage, Journal &journal, bool mayLink)
{
    const dev_t device = target.stack().rootStatus().st_dev;
    std::optional<bool> mayLinkHere; // in the folder in which the walk stands
    walk.exclude(target.stack());
    while (walk.next()) {
        const At entry = walk.entry(), copy{target.dirfd(), entry.name};
        struct stat info;
        Result done;
        if (walk.atFolderEnd()) {
            mayLinkHere.reset();
            journal.left();
            done = target.leave(walk);
        } else if (walk.isFolder()) {
            mayLinkHere.reset();
            done = linkStatus(entry, &info);
            if (done)
                done = target.make(walk);
            if (done)
                done = target.enter(walk, Links::NoFollow);
            if (done)
                journal.entered(entry.name, info);
        } else {
            if (!mayLinkHere)
                mayLinkHere = mayLink && walk.folderStatus().st_dev == device && !walk.isBehindLink() &&
                              mayRemoveFrom(walk.dirfd());
            done = stageFile(walk, *mayLinkHere, copy, stage, journal.staging(entry.name));
        }
        if (!done)
            return false;
    }
    return !walk.failed();
}

/// Files of one folder that no rename moves, and that have to be on the disk under their new names before the
/// old ones go. Many at once: waiting for the disk takes longer than a copy.
class StagedFiles
{
public:
    explicit StagedFiles(int targetDirfd) : m_durability(targetDirfd), m_stage(m_durability) {}

    const Durability &durability() const { return m_durability; }

    /// Stages the file on which `walk` stands.
    Result add(const TreeWalk &walk, bool mayLink, int targetDirfd)
    {
        if (m_files.empty()) {
            m_source = openFolder({walk.dirfd(), "."}, Links::NoFollow, Access::Fill);
            m_target = openFolder({targetDirfd, "."}, Links::NoFollow, Access::Fill);
        }
        for (const Result &ready : {m_durability.result(), m_source.result(), m_target.result()})
            if (!ready)
                return ready;
        m_files.push_back({walk.name(), {}});
        File &file = m_files.back();
        const Result staged = stageFile(walk, mayLink, to(file), m_stage, file.staged);
        if (!staged)
            m_files.pop_back();
        return staged;
    }

    /// Removes the sources once all is durable. What stays in its old place is taken back. Whether
    /// every source has gone.
    bool commit()
    {
        bool areMoved = true;
        const bool areDurable = m_files.empty() || m_durability.sync(m_target.get());
        for (const File &file : m_files) {
            const At from{m_source.get(), file.name.constData()};
            const Removal removal = areDurable ? removeSource(from, file.staged, to(file)) : Removal::Refused;
            if (removal == Removal::Refused)
                takeBack(to(file), file.staged);
            areMoved = areMoved && removal == Removal::Done;
        }
        m_files.clear();
        return areMoved;
    }

private:
    struct File
    {
        QByteArray name;
        StagedFile staged;
    };
    At to(const File &file) const { return {m_target.get(), file.name.constData()}; }

    const Durability m_durability;
    FileStage m_stage;
    Descriptor m_source, m_target;
    std::vector<File> m_files;
};

QString absoluteFolder(const QString &path, const QByteArray &native)
{
    const QDir folder(path);
    const QString cleaned = folder.absolutePath();
    struct stat asGiven, asCleaned;
    // Taking ".." out of a path by its text leads elsewhere when a link stands before it.
    const bool isSame = Path(native).status(&asGiven) && Path(encodedName(cleaned)).status(&asCleaned) &&
                        FileId(asGiven) == FileId(asCleaned);
    return isSame ? cleaned : folder.canonicalPath();
}

/// The path to read from: an empty one stands for the working folder, as for QDir.
QByteArray pathToRead(const QString &path)
{
    return path.isEmpty() ? QByteArrayLiteral(".") : diskPath(path);
}

/// The path of a folder that may have to be made.
QByteArray pathToMake(const QString &path)
{
    return withoutMissingFolders(diskPath(path));
}

bool moveQuickly(const QByteArray &from, const QByteArray &to)
{
    TreeWalk walk(Order::ByName);
    TargetTree target(Carry::Everything);
    if (!isFolder(from) || leadsInto(to, from) || !walk.open(Path(from).at(), Links::Follow) ||
        !target.open(to, walk.dirfd()))
        return false;

    const bool mayRename = !renamesByHalves(target.dirfd());
    StagedFiles files(target.dirfd());
    target.setDurability(&files.durability());
    bool isComplete = true;
    walk.exclude(target.stack());
    while (walk.next()) {
        bool isDone = true;
        if (walk.atFolderEnd()) {
            isDone = files.commit();
            if (!target.leave(walk))
                return false;
        } else if (walk.isFolder()) {
            isDone = files.commit();
            isDone = target.make(walk) && target.enter(walk, Links::NoFollow) && isDone;
        } else if (walk.isFile()) {
            const auto rename = [&] {
                return renameExclusively(walk.entry(), {target.dirfd(), walk.name()});
            };
            Result moved = mayRename ? rename() : Result(EXDEV);
            if (moved.error() == EXDEV)
                moved = files.add(walk, !mayRename, target.dirfd());
            if (!mayRename && isFull(moved))
                moved = rename();
            isDone = bool(moved);
        }
        isComplete = isComplete && isDone;
    }
    return files.commit() && target.finish(walk.dirfd()) && isComplete && !walk.failed();
}

bool moveDirectory(const QByteArray &from, const QByteArray &to)
{
    if (!isFolder(from) || leadsInto(to, from) || leadsInto(from, to) || overlap(from, to))
        return false;
    const Path root(entryPath(from));
    TreeWalk walk(Order::ByName);
    TargetTree target(Carry::Everything);
    struct stat info;
    // Opened and listed before anything is deleted: a source that cannot be read costs the destination
    // nothing.
    if (!root.linkStatus(&info) || !walk.open(Path(from).at(), Links::Follow) || !deleteContents(to) ||
        !target.open(to, walk.dirfd()))
        return false;
    const bool isLink = S_ISLNK(info.st_mode);
    const At filled{target.rootDirfd(), "."};
    const Durability durability(filled.dirfd);
    target.setDurability(&durability);
    FileStage stage(durability);
    Journal journal;
    const bool isSafe = durability.result() && orFailure([&] {
                            return stageEntries(walk, target, stage, journal, !isLink) &&
                                   target.finish(walk.dirfd()) && durability.sync(filled.dirfd);
                        });
    if (!isSafe) {
        journal.takeBackLinks(filled);
        return false;
    }
    if (isLink)
        return remove(root.at());
    const bool isMoved =
        orFailure([&] { return bool(journal.removeSources(root.at(), FileId(walk.rootStatus()), filled)); });
    if (!isMoved)
        journal.separateLinks(filled, stage);
    return isMoved;
}

bool copyDirectory(const QByteArray &from, const QByteArray &to, QDir::SortFlags sorting)
{
    TargetTree target(Carry::Permissions);
    struct stat info;
    const Result found = Path(from).status(&info);
    if (found ? !S_ISDIR(info.st_mode) : meansMissing(found))
        return isFolder(to) || makeFolders(to, S_IRWXU | S_IRWXG | S_IRWXO);

    TreeWalk walk(Order::ByName);
    walk.sortAs(sorting);
    return !leadsInto(to, from) && walk.open(Path(from).at(), Links::Follow) &&
           target.open(to, walk.dirfd()) && copyEntries(walk, target) && target.finish(walk.dirfd());
}

void copyFiles(const QByteArray &from, const QByteArray &to)
{
    TreeWalk walk(Order::ByName);
    if (leadsInto(to, from) || !walk.open(Path(from).at(), Links::Follow))
        return;
    FileCopy copier(Carry::Permissions);
    TargetTree target(Carry::Permissions);
    // Errors are not told here: whatever can be copied is.
    const auto open = [&] { return target.isOpen() || bool(target.open(to, walk.rootDirfd())); };
    bool isOpen = isFolder(to) && open();
    walk.exclude(target.stack());
    while (walk.next()) {
        if (walk.atFolderEnd()) {
            if (!target.leave(walk))
                return;
        } else if (walk.isFile()) {
            if (isOpen)
                static_cast<void>(copier.copy(walk.entry(), {target.dirfd(), walk.name()}));
        } else if (isOpen || (isOpen = open())) { // the first sub-folder makes the destination itself
            if (walk.isFolder()) {
                static_cast<void>(target.make(walk));
                static_cast<void>(target.enter(walk, Links::Follow));
            } else { // a link to what is neither
                static_cast<void>(makeFolder({target.dirfd(), walk.name()}, S_IRWXU | S_IRWXG | S_IRWXO));
            }
        }
    }
    if (isOpen)
        static_cast<void>(target.finish(walk.dirfd()));
}

} // namespace

bool MoveDirectoryQuick(const QString &source, const QString &destination)
{
    return orFailure([&] {
        const QByteArray from = diskPath(source), to = pathToMake(destination);
        return !from.isNull() && !to.isNull() && moveQuickly(from, to);
    });
}

bool MoveDirectory(const QString &source, const QString &destination)
{
    return MoveDirectoryCopy(source, destination);
}

bool MoveDirectoryCopy(const QString &source, const QString &destination)
{
    return orFailure([&] {
        const QByteArray from = diskPath(source), to = pathToMake(destination);
        return !from.isNull() && !to.isNull() && moveDirectory(from, to);
    });
}

bool CopyDirectory(const QDir &source, const QDir &destination)
{
    return orFailure([&] {
        const QByteArray from = diskPath(source.path()), to = pathToMake(destination.path());
        if (isResource(source.path()))
            return !to.isNull() && (isFolder(to) || makeFolders(to, S_IRWXU | S_IRWXG | S_IRWXO)) &&
                   copyResources(source, to, OnFailure::Stop);
        return !to.isNull() && copyDirectory(from, to, source.sorting()); // from: null is missing, too
    });
}

void CopyFiles(const QString &source, const QString &destination)
{
    orFailure([&] {
        const QByteArray from = pathToRead(source), to = pathToMake(destination);
        if (isResource(source) && !to.isNull())
            copyResources(source, to, OnFailure::GoOn);
        else if (!from.isNull() && !to.isNull())
            copyFiles(from, to);
        return true;
    });
}

bool DeleteFolderAndFiles(const QString &path)
{
    return orFailure([&] {
        const QByteArray native = diskPath(path);
        if (native.isNull())
            return !isResource(path) || !exists(path);
        const QByteArray entry = entryPath(native);
        const Path folder(entry);
        struct stat info;
        if (const Result found = folder.linkStatus(&info); !found)
            return meansMissing(found);
        if (S_ISDIR(info.st_mode))
            return deleteTree(folder);
        if (const Result found = folder.status(&info); !found)
            return meansMissing(found); // a link whose target is missing is invisible
        return S_ISDIR(info.st_mode) && remove(folder.at());
    });
}

bool DeleteFolderContents(const QString &path)
{
    return orFailure([&] {
        const QByteArray native = diskPath(path);
        if (isResource(path))
            return resourcesIn(path).isEmpty();
        return native.isNull() ? !path.isEmpty() : deleteContents(native);
    });
}

QStringList RecursiveGetFiles(const QString &path)
{
    return orFailure([&] {
        if (isResource(path))
            return resourceFilesBelow(path);
        const QByteArray native = pathToRead(path);
        QStringList files;
        TreeWalk walk(Order::ByName);
        if (native.isNull() || !walk.open(Path(native).at(), Links::Follow))
            return files;

        constexpr QLatin1Char slash('/');
        QString prefix = absoluteFolder(path, native);
        if (!prefix.endsWith(slash))
            prefix += slash;
        while (walk.next()) {
            if (walk.atFolderEnd())
                prefix.truncate(prefix.lastIndexOf(slash, -2) + 1);
            else if (walk.isFile())
                files.append(prefix + textName(walk.name()));
            else if (const QString name = textName(walk.name()); walk.enter())
                prefix += name + slash;
        }
        return files;
    });
}

int getFileAndDirCount(const QString &path)
{
    return orFailure([&] {
        if (isResource(path))
            return countResourcesBelow(path);
        const QByteArray native = pathToRead(path);
        TreeWalk walk(Order::None, Keep::Folders);
        if (native.isNull() || !walk.open(Path(native).at(), Links::Follow))
            return 0;
        std::size_t count = 0;
        while (walk.next()) {
            if (walk.atFolderEnd())
                continue;
            ++count;
            static_cast<void>(walk.enter()); // one that cannot be listed counts as empty
        }
        count += walk.passedOver();
        return int(std::min<std::size_t>(count, std::numeric_limits<int>::max()));
    });
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
