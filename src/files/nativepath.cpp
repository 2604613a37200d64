#include "nativepath_p.h"

#include <core/qtcompat_p.h>

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace TesCoreFiles {

namespace {

ushort unit(char byte)
{
    return uchar(byte);
}

ushort unit(QChar character)
{
    return character.unicode();
}

template <typename Text>
bool isAscii(const Text &text)
{
    return std::all_of(text.begin(), text.end(), [](auto element) { return unit(element) < 0x80; });
}

QString decodedName(const QByteArray &name)
{
    return TesCoreCompat::knowsFileNames() ? QFile::decodeName(name) : QString::fromUtf8(name);
}

int reasonAgainst(const QString &path, const QByteArray &encoded)
{
    if (path.isEmpty())
        return ENOENT;
    if (path.contains(QChar::Null))
        return EINVAL;
    return isAscii(path) || decodedName(encoded) == path ? 0 : EILSEQ;
}

} // namespace

QByteArray encodedName(const QString &path)
{
    if (isAscii(path))
        return path.toLatin1();
    return TesCoreCompat::knowsFileNames() ? QFile::encodeName(path) : path.toUtf8();
}

QByteArray nativePath(const QString &path)
{
    QByteArray encoded = encodedName(path);
    errno = reasonAgainst(path, encoded);
    return errno == 0 ? encoded : QByteArray();
}

QString textName(const char *name)
{
    const QByteArray bytes = QByteArray::fromRawData(name, int(std::strlen(name)));
    return isAscii(bytes) ? QString::fromLatin1(bytes) : decodedName(bytes);
}

QString errorText(int errorNumber)
{
    return qt_error_string(errorNumber);
}

} // namespace TesCoreFiles
