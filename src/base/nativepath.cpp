#include "nativepath_p.h"

#include "qtcompat_p.h"

#include <QFile>

#include <algorithm>
#include <cstring>

namespace TesCoreBase {

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
    return knowsFileNames() ? QFile::decodeName(name) : QString::fromUtf8(name);
}

Result encodable(const QString &path, const QByteArray &encoded)
{
    if (path.isEmpty())
        return Result(ENOENT);
    if (path.contains(QChar::Null))
        return Result(EINVAL);
    return isAscii(path) || decodedName(encoded) == path ? Result() : Result(EILSEQ);
}

} // namespace

QByteArray encodedName(const QString &path)
{
    if (isAscii(path))
        return path.toLatin1();
    return knowsFileNames() ? QFile::encodeName(path) : path.toUtf8();
}

QByteArray nativePath(const QString &path, Result *why)
{
    QByteArray encoded = encodedName(path);
    const Result result = encodable(path, encoded);
    if (why)
        *why = result;
    return result ? encoded : QByteArray();
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

} // namespace TesCoreBase
