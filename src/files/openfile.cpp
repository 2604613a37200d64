#include "openfile_p.h"

#include "place_p.h"
#include <base/nativepath_p.h>

#include <QIODevice>

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

Descriptor openNative(const QByteArray &native, int flags, Refusal refusal)
{
    if (native.isNull())
        return Descriptor();
    // Opening a device can act on it, and opening a FIFO wakes its other end: they are left alone. A folder
    // goes on, since its permissions decide which error it gives.
    const Place place(native);
    struct stat status;
    if (place.status(&status) && !S_ISDIR(status.st_mode) && refusal(status.st_mode) != 0) {
        errno = refusal(status.st_mode);
        return Descriptor();
    }
    if (!place.isReached())
        return Descriptor();
    // The second look, because the entry may have been replaced in between.
    Descriptor file = openFile(place.folder(), place.name(), flags);
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0)
        return Descriptor();
    errno = refusal(status.st_mode);
    return errno == 0 ? std::move(file) : Descriptor();
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

Descriptor openOrTell(const QString &path, int flags, Refusal refusal, QString *error)
{
    Result why;
    const QByteArray native = nativePath(path, &why);
    if (!why)
        errno = why.error();
    Descriptor file = openNative(native, flags, refusal);
    if (!file.isOpen() && error != nullptr) {
        const int errorNumber = errno;
        *error = openErrorText(path, errorNumber, (flags & O_ACCMODE) == O_RDONLY);
        errno = errorNumber;
    }
    return file;
}

} // namespace

Descriptor openForReading(const QString &path, QString *error)
{
    return openOrTell(path, O_RDONLY, refusalToRead, error);
}

Descriptor openForWriting(const QString &path, int flags, QString *error)
{
    return openOrTell(path, flags | O_WRONLY, refusalToWrite, error);
}

qint64 expectedSize(const Descriptor &file)
{
    struct stat status;
    return ::fstat(file.get(), &status) == 0 ? qint64(status.st_size) : 0;
}

qint64 readInto(const Descriptor &file, char *buffer, qint64 size)
{
    qint64 filled = 0;
    while (filled < size) {
        const ssize_t got =
            retrying([&] { return ::read(file.get(), buffer + filled, std::size_t(size - filled)); });
        if (got < 0)
            return -1;
        if (got == 0)
            break;
        filled += got;
    }
    return filled;
}

} // namespace TesCoreFiles
