#include <TesCore/TESCoreUtil.h>

#include "openfile_p.h"
#include "textcodec_p.h"
#include <base/nativepath_p.h>

#include <QObject>

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

namespace {

using namespace TesCoreFiles;

// Text is converted in blocks that stay in the processor's cache with their results.
constexpr int blockSize = 64 * 1024;
constexpr int smallestBuffer = 4 * 1024;

constexpr QLatin1Char carriageReturn('\r');
constexpr QLatin1Char lineFeed('\n');

/// The most elements that the type can hold. Qt 5 counts bytes in an int, those of its own header included.
template <typename Container>
constexpr qint64 capacityOf()
{
    using Size = decltype(Container().size());
    return (std::numeric_limits<Size>::max() - 64) / qint64(sizeof(*Container().constData()));
}

/// Asks for large pages where they are not the default: touching 40 MB for the first time in small ones
/// takes longer than reading and decoding 20 MB of text.
void expectLargeUse(void *memory, qint64 size)
{
    constexpr qint64 worthwhile = Q_INT64_C(4) * 1024 * 1024;
    constexpr qint64 page = 4096;
    if (size < worthwhile)
        return;
    const qint64 start = page - qint64(quintptr(memory) % page);
    ::madvise(static_cast<char *>(memory) + start, std::size_t((size - start) / page * page), MADV_HUGEPAGE);
}

bool writeAll(const Descriptor &file, const QByteArray &bytes)
{
    return bool(TesCoreBase::writeAll(file.get(), bytes.constData(), std::size_t(bytes.size())));
}

/// The rest of the file, or a null array and errno.
QByteArray readBytes(const Descriptor &file)
{
    using Size = decltype(QByteArray().size());
    constexpr qint64 limit = capacityOf<QByteArray>();
    const qint64 expected = expectedSize(file);
    if (expected >= limit) {
        errno = EFBIG;
        return QByteArray();
    }
    // One byte more than expected, so that the end shows in the same read.
    QByteArray bytes(Size(expected > 0 ? expected + 1 : smallestBuffer), Qt::Uninitialized);
    expectLargeUse(bytes.data(), bytes.size());
    for (qint64 filled = 0;;) {
        const qint64 got = readInto(file, bytes.data() + filled, bytes.size() - filled);
        if (got < 0)
            return QByteArray();
        filled += got;
        if (filled < bytes.size()) {
            bytes.resize(Size(filled));
            return bytes;
        }
        if (filled == limit) {
            errno = EFBIG;
            return QByteArray();
        }
        bytes.resize(Size(std::min(limit, 2 * filled)));
    }
}

/// The text of the rest of the file, or a null string and errno.
QString readText(const Descriptor &file, QTextCodec *codec)
{
    if (codec == nullptr) {
        const QByteArray bytes = readBytes(file);
        return bytes.isNull() ? QString() : QString::fromUtf8(bytes);
    }
    constexpr qint64 limit = capacityOf<QString>();
    const qint64 size = expectedSize(file);
    // No codec takes more than four bytes for each code unit.
    errno = EFBIG;
    if (size / 4 > limit)
        return QString();

    TextDecoder decoder(codec);
    QByteArray block(int(std::clamp<qint64>(size + 1, smallestBuffer, blockSize)), Qt::Uninitialized);
    QString text = QLatin1String("");
    for (qint64 got = block.size(); got == block.size();) {
        got = readInto(file, block.data(), block.size());
        if (got < 0)
            return QString();
        if (text.isEmpty() && got == block.size()) {
            const qint64 length = std::min(size, limit - 1);
            text.reserve(decltype(text.size())(length));
            expectLargeUse(text.data(), length * qint64(sizeof(QChar)));
        }
        const QString more = decoder.decode(block.constData(), int(got));
        errno = EFBIG;
        if (more.size() >= limit - text.size())
            return QString();
        text += more;
    }
    return text += decoder.finish();
}

/// Writes the text to `to`, which may be where it stands, with every line ending made "\n". The new end.
QChar *normaliseLineEndings(QStringView text, QChar *to)
{
    for (;;) {
        const auto line = text.indexOf(carriageReturn);
        const auto length = line < 0 ? text.size() : line;
        std::memmove(to, text.data(), std::size_t(length) * sizeof(QChar));
        to += length;
        if (line < 0)
            return to;
        *to++ = lineFeed;
        text = text.mid(length + 1);
        if (text.startsWith(lineFeed))
            text = text.mid(1);
    }
}

/// Reads the whole file `path`. After a failure a null result and the error's text.
template <typename Read>
auto readFile(const QString &path, QString *error, Read read) -> decltype(read(Descriptor()))
{
    const Descriptor file = openForReading(path, error);
    if (!file.isOpen())
        return {};
    decltype(read(file)) result;
    try {
        result = read(file);
    } catch (const std::bad_alloc &) {
        // The size of a file is somebody else's choice: one too large for the memory is a failed read.
        errno = ENOMEM;
    }
    if (result.isNull() && error != nullptr)
        *error = errorText(errno);
    return result;
}

} // namespace

bool TESCoreUtil::WriteUnicodeTextFile(const QString &text, const QString &path, QString *error,
                                       const char *codec)
{
    TextEncoder encoder(codecNamed(codec));
    const Descriptor file = openForWriting(path, O_CREAT | O_TRUNC, error);
    if (!file.isOpen())
        return false;
    for (QStringView rest = text; !rest.isEmpty();) {
        auto length = std::min<decltype(rest.size())>(rest.size(), blockSize);
        if (length < rest.size() && rest[length - 1].isHighSurrogate())
            --length;
        if (!writeAll(file, encoder.encode(rest.left(length))))
            return true;
        rest = rest.mid(length);
    }
    writeAll(file, encoder.finish());
    return true;
}

QString TESCoreUtil::ReadUnicodeTextFile(const QString &path, QString *error, const char *codec,
                                         bool convertLineEndings)
{
    QString text =
        readFile(path, error, [&](const Descriptor &file) { return readText(file, codecNamed(codec)); });
    if (text.isEmpty())
        return text;
    if (convertLineEndings) {
        const QChar *end = normaliseLineEndings(text, text.data());
        text.resize(decltype(text.size())(end - text.constData()));
    }
    text.squeeze();
    return text;
}

QByteArray TESCoreUtil::ReadBinaryFile(const QString &path, QString *error)
{
    return readFile(path, error, readBytes);
}

bool TESCoreUtil::WriteBinaryFile(const QByteArray &data, const QString &path, QString *error)
{
    Descriptor file = openForWriting(path, O_CREAT | O_TRUNC, error);
    if (!file.isOpen())
        return false;
    const bool written = writeAll(file, data);
    // Some file systems tell only now that there was no room.
    if (const Result closed = file.close(); closed && written)
        return true;
    if (error != nullptr)
        *error = QObject::tr("Could not write all data to file");
    return false;
}

QString TESCoreUtil::ConvertLineEndings(const QString &text)
{
    if (!text.contains(carriageReturn))
        return text;
    QString result(text.size(), Qt::Uninitialized);
    expectLargeUse(result.data(), result.size() * qint64(sizeof(QChar)));
    const QChar *end = normaliseLineEndings(text, result.data());
    result.resize(decltype(result.size())(end - result.constData()));
    return result;
}
