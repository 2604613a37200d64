#include <TesCore/TESCoreUtil.h>

#include "filecopy_p.h"
#include "path_p.h"
#include "targettree_p.h"
#include <base/nativepath_p.h>

#include <QCoreApplication>

namespace TESCoreUtil {

using namespace TesCoreFiles;

namespace {

constexpr mode_t kPrivate = S_IRWXU;

/// Whether nobody but this user and root can put something else in the place of what is created in the
/// folder.
bool isTrusted(const struct stat &info)
{
    const bool isOurs = info.st_uid == ::geteuid() || info.st_uid == 0;
    return isOurs && (!(info.st_mode & S_IWOTH) || (info.st_mode & S_ISVTX) || S_ISLNK(info.st_mode));
}

bool isTrusted(const QByteArray &folder)
{
    const Path place(folder);
    struct stat own, info;
    return place.linkStatus(&own) && isTrusted(own) && place.status(&info) && isTrusted(info);
}

/// Opens the temporary root, making it where it is missing. Not open when others could tamper with it: its
/// name lies in a folder that all may write to, so anybody may have been there first.
Descriptor openRoot()
{
    const QByteArray path = nativePath(GetTessarineTempPath());
    if (path.isNull() || !makeFolders(path, kPrivate))
        return Descriptor();
    // The application's name may hold "/": each of these folders counts.
    for (auto end = nativePath(QDir::tempPath()).size(); end < path.size();) {
        end = path.indexOf('/', end + 1);
        if (end < 0)
            end = path.size();
        if (!isTrusted(path.left(end)))
            return Descriptor();
    }
    const Path place(path);
    Descriptor root(::openat(place.at().dirfd, place.at().name, O_PATH | O_DIRECTORY | O_CLOEXEC));
    struct stat info; // of what was opened, should somebody have been quicker
    const bool isSafe = root.isOpen() && ::fstat(root.get(), &info) == 0 && isTrusted(info);
    return isSafe ? std::move(root) : Descriptor();
}

bool isTaken(const QString &path)
{
    struct stat info;
    const QByteArray native = nativePath(path);
    return !native.isNull() && Path(native).status(&info);
}

/// A path below the temporary root, made of a fresh UUID and `suffix`, where nothing exists.
QString freshPath(const QString &suffix)
{
    QString path;
    do {
        path = GetTessarineTempPath() + QLatin1Char('/') + CreateUUID() + suffix;
    } while (isTaken(path));
    return QDir::toNativeSeparators(path);
}

} // namespace

QString GetTessarineTempPath()
{
    return QDir::tempPath() + QLatin1Char('/') + QCoreApplication::applicationName();
}

QString GetNewTempFolderPath(bool create)
{
    QString path = freshPath(QString());
    if (!create)
        return path;
    const Descriptor root = openRoot();
    while (root.isOpen() && ::mkdirat(root.get(), Entry(encodedName(path)).at().name, kPrivate) != 0 &&
           errno == EEXIST)
        path = freshPath(QString());
    return path;
}

QString GetNewTempFilePath(QString suffix)
{
    if (!suffix.isEmpty() && !suffix.startsWith(QLatin1Char('.')))
        suffix.prepend(QLatin1Char('.'));
    const QString path = freshPath(suffix);
    // A suffix that holds "/" names folders below the root.
    if (openRoot().isOpen())
        static_cast<void>(makeFolders(nativePath(QFileInfo(path).absolutePath()), kPrivate));
    return path;
}

QString CreateTemporaryCopy(const QString &path)
{
    const QByteArray from = nativePath(path);
    if (from.isNull())
        return QString();
    const QString copy =
        QDir(QDir::tempPath()).absoluteFilePath(CreateUUID() + QLatin1Char('.') + QFileInfo(path).suffix());
    const Entry to(nativePath(copy));
    const bool isCopied = to.result() && FileCopy(Carry::Permissions).copy(Path(from).at(), to.at());
    return isCopied ? copy : QString();
}

} // namespace TESCoreUtil
