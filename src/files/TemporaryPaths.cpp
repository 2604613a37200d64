#include <TesCore/TESCoreUtil.h>

#include "filecopy_p.h"
#include "path_p.h"
#include "qtpath_p.h"
#include "resources_p.h"
#include "targettree_p.h"
#include <base/exceptions_p.h>
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
    // The group's permission covers what an access control list grants to other users and groups.
    const bool mayOthersWrite = (info.st_mode & (S_IWGRP | S_IWOTH)) != 0 && (info.st_mode & S_ISVTX) == 0;
    return isOurs && (!mayOthersWrite || S_ISLNK(info.st_mode));
}

bool isTrusted(const QByteArray &folder)
{
    const Path place(folder);
    struct stat own, info;
    return place.linkStatus(&own) && isTrusted(own) && place.status(&info) && isTrusted(info);
}

/// Opens the temporary root, making it where it is missing. Not open when others could tamper with it: its
/// name lies in a folder that all may write to, so anybody may have been there first. Not open either when
/// the system has no temporary folder.
Descriptor openRoot()
{
    const QByteArray system = nativePath(QDir::tempPath());
    const QByteArray path = nativePath(GetTessarineTempPath());
    if (system.isNull() || path.isNull() || !makeFolders(path, kPrivate))
        return Descriptor();
    // The application's name may hold "/": each of these folders counts.
    for (auto end = system.size(); end < path.size();) {
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

/// A path below the temporary root, made of a fresh UUID and `suffix`, where nothing exists.
QString freshPath(const QString &suffix)
{
    QString path;
    do {
        path = GetTessarineTempPath() + QLatin1Char('/') + CreateUUID() + suffix;
    } while (exists(path));
    return QDir::toNativeSeparators(path);
}

} // namespace

QString GetTessarineTempPath()
{
    return orFailure(
        [&] { return QString(QDir::tempPath() + QLatin1Char('/') + QCoreApplication::applicationName()); });
}

QString GetNewTempFolderPath(bool create)
{
    return orFailure([&] {
        QString path = freshPath(QString());
        const Descriptor root = create ? openRoot() : Descriptor();
        const auto make = [&] {
            const QByteArray name = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1).toLatin1();
            return makeFolder({root.get(), name.constData()}, kPrivate);
        };
        while (root.isOpen() && make().error() == EEXIST)
            path = freshPath(QString());
        return path;
    });
}

QString GetNewTempFilePath(QString suffix)
{
    return orFailure([&] {
        if (!suffix.isEmpty() && !suffix.startsWith(QLatin1Char('.')))
            suffix.prepend(QLatin1Char('.'));
        QString path = freshPath(suffix);
        // A suffix that holds "/" names folders below the root.
        if (openRoot().isOpen())
            static_cast<void>(makeFolders(nativePath(QFileInfo(path).absolutePath()), kPrivate));
        return path;
    });
}

QString CreateTemporaryCopy(const QString &path)
{
    return orFailure([&] {
        const QString folder = QDir::tempPath();
        const QString copy =
            QDir(folder).absoluteFilePath(CreateUUID() + QLatin1Char('.') + QFileInfo(path).suffix());
        const Entry to(nativePath(copy));
        Result done = folder.isEmpty() ? Result(ENOENT) : to.result();
        if (done)
            done = isResource(path) ? copyResource(path, to.at())
                                    : FileCopy(Carry::Permissions).copy(Path(diskPath(path)).at(), to.at());
        return done ? copy : QString();
    });
}

} // namespace TESCoreUtil
