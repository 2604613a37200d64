#include "qtpath_p.h"

#include "path_p.h"
#include <base/nativepath_p.h>
#include <base/qtcompat_p.h>

#include <sys/mman.h>

namespace TesCoreFiles {

namespace {

constexpr QLatin1Char colon(':');
constexpr mode_t kReadOnly = S_IRUSR | S_IRGRP | S_IROTH;

/// `path` with the prefix of a search path, if it has one, replaced by the first folder that holds the name.
QString withoutPrefix(const QString &path)
{
    const auto end = path.indexOf(colon);
    // A prefix has two characters or more, and no slash.
    if (end < 2 || path.lastIndexOf(QLatin1Char('/'), end) >= 0 || path.contains(QChar::Null) ||
        !knowsFileNames())
        return path;
    return QFileInfo(path).filePath();
}

} // namespace

QByteArray diskPath(const QString &path, Result *why)
{
    const QString resolved = withoutPrefix(path);
    if (!resolved.startsWith(colon))
        return nativePath(resolved, why);
    if (why)
        *why = Result(ENOENT);
    return QByteArray();
}

bool isResource(const QString &path)
{
    return withoutPrefix(path).startsWith(colon);
}

bool isResourceFolder(const QString &path)
{
    return isResource(path) && QFileInfo(path).isDir();
}

bool exists(const QString &path)
{
    struct stat info;
    const QByteArray native = diskPath(path);
    return native.isNull() ? isResource(path) && QFileInfo::exists(path) : bool(Path(native).status(&info));
}

Descriptor openResource(const QString &path, QIODevice::OpenMode mode, QString *error)
{
    QFile resource(path);
    if (!resource.open(mode)) {
        if (error)
            *error = resource.errorString();
        return Descriptor(Result(mode == QIODevice::ReadOnly ? ENOENT : EROFS));
    }
    const QByteArray content = resource.readAll();
    Descriptor file(::memfd_create("resource", MFD_CLOEXEC));
    Result done = file.result();
    if (done)
        done = Result::of(::fchmod(file.get(), kReadOnly));
    if (done)
        done = writeAll(file.get(), content.constData(), std::size_t(content.size()));
    if (done)
        done = Result::of(::lseek(file.get(), 0, SEEK_SET));
    if (done)
        return file;
    if (error)
        *error = errorText(done.error());
    return Descriptor(done);
}

} // namespace TesCoreFiles
