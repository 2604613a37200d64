#include "nativepath_p.h"

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

int reasonAgainst(const QString &path, const QByteArray &encoded)
{
    if (path.isEmpty())
        return ENOENT;
    if (path.contains(QChar::Null))
        return EINVAL;
    return isAscii(path) || QFile::decodeName(encoded) == path ? 0 : EILSEQ;
}

} // namespace

QByteArray nativePath(const QString &path)
{
    QByteArray encoded = QFile::encodeName(path);
    errno = reasonAgainst(path, encoded);
    return errno == 0 ? encoded : QByteArray();
}

QString textName(const char *name)
{
    const QByteArray bytes = QByteArray::fromRawData(name, int(std::strlen(name)));
    return isAscii(bytes) ? QString::fromLatin1(bytes) : QFile::decodeName(bytes);
}

QString errorText(int errorNumber)
{
    return qt_error_string(errorNumber);
}

} // namespace TesCoreFiles
