#include "openfile_p.h"

#include "path_p.h"
#include "qtpath_p.h"
#include <base/nativepath_p.h>

#include <QIODevice>

#include <fcntl.h>
#include <sys/stat.h>

namespace TesCoreFiles {

namespace {

/// Why an entry of this kind is not opened, as an error number; 0 for one that is.
using Refusal = int (*)(mode_t mode);

int refusalToRead(mode_t mode)
{
    if (S_ISDIR(mode))
        return EISDIR;
    return S_ISREG(mode) ? 0 : EOPNOTSUPP;
}

int refusalToWrite(mode_t mode)
{
    return S_ISREG(mode) || S_ISCHR(mode) ? 0 : EOPNOTSUPP;
}

Descriptor openNative(const QByteArray &native, int flags, Refusal refusal, qint64 *size)
{
    // Opening a device can act on it, and opening a FIFO wakes its other end: they are left alone. A folder
    // goes on, since its permissions decide which error it gives.
    const Path path(native);
    struct stat info;
    if (path.status(&info) && !S_ISDIR(info.st_mode) && refusal(info.st_mode) != 0)
        return Descriptor(Result(refusal(info.st_mode)));
    if (!path.result())
        return Descriptor(path.result());
    // The second look, because the entry may have been replaced in between.
    Descriptor file = openFile(path.at(), flags);
    if (!file.isOpen())
        return file;
    Result known = Result::of(::fstat(file.get(), &info));
    if (known)
        known = Result(refusal(info.st_mode));
    // A terminal takes bytes as slowly as it shows them: writing waits for it, as opening did not.
    if (known && S_ISCHR(info.st_mode))
        known = Result::of(::fcntl(file.get(), F_SETFL, flags));
    if (size != nullptr)
        *size = info.st_size;
    return known ? std::move(file) : Descriptor(known);
}

/// Two of the texts are Qt's own words rather than the system's.
QString openErrorText(const QString &path, int errorNumber, bool reading)
{
    if (path.isEmpty())
        return QStringLiteral("No file name specified");
    // Not a literal in the call: it is Qt's catalogue, not this library's, that has the translation.
    constexpr const char *folderText = "file to open is a directory";
    return reading && errorNumber == EISDIR ? QIODevice::tr(folderText) : errorText(errorNumber);
}

Descriptor openOrTell(const QString &path, int flags, Refusal refusal, QString *error, qint64 *size = nullptr)
{
    const bool reading = (flags & O_ACCMODE) == O_RDONLY;
    if (isResource(path)) {
        Descriptor file = openResource(path, reading ? QIODevice::ReadOnly : QIODevice::WriteOnly, error);
        struct stat info;
        if (size != nullptr && ::fstat(file.get(), &info) == 0)
            *size = info.st_size;
        return file;
    }
    Result valid;
    const QByteArray native = diskPath(path, &valid);
    Descriptor file = valid ? openNative(native, flags, refusal, size) : Descriptor(valid);
    if (!file.isOpen() && error != nullptr)
        *error = openErrorText(path, file.error(), reading);
    return file;
}

} // namespace

Descriptor openFile(At entry, int flags)
{
    constexpr int always = O_CLOEXEC | O_NOCTTY;
    constexpr mode_t newFile = 0666; // less the umask
    Descriptor file(
        retrying([&] { return ::openat(entry.dirfd, entry.name, flags | always | O_NONBLOCK, newFile); }));
    if (file.isOpen() || file.error() != EWOULDBLOCK)
        return file;
    // What is held by a descriptor is the same file when it is opened to wait.
    const Descriptor held(::openat(entry.dirfd, entry.name, O_PATH | O_CLOEXEC | (flags & O_NOFOLLOW)));
    struct stat info;
    if (!held.isOpen() || ::fstat(held.get(), &info) != 0 || !S_ISREG(info.st_mode))
        return file;
    const int waiting = (flags & ~(O_CREAT | O_NOFOLLOW)) | always;
    return Descriptor(retrying([&] { return ::open(DescriptorPath(held.get()).text(), waiting); }));
}

Descriptor openUnnamed(int dirfd, mode_t mode)
{
    return Descriptor(retrying([&] { return ::openat(dirfd, ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, mode); }));
}

Descriptor openForReading(const QString &path, QString *error, qint64 *size)
{
    return openOrTell(path, O_RDONLY, refusalToRead, error, size);
}

Descriptor openForWriting(const QString &path, int flags, QString *error)
{
    return openOrTell(path, flags | O_WRONLY, refusalToWrite, error);
}

} // namespace TesCoreFiles
