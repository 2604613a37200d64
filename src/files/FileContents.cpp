#include <TesCore/TESCoreUtil.h>

#include "openfile_p.h"
#include "textcodec_p.h"
#include <base/exceptions_p.h>
#include <base/limits_p.h>
#include <base/nativepath_p.h>

#include <QObject>

#include <algorithm>
#include <cstring>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

using namespace TesCoreFiles;

// Text is converted in blocks that stay in the processor's cache with their results.
constexpr int blockSize = 64 * 1024;
constexpr int smallestBuffer = 4 * 1024;

constexpr QLatin1Char carriageReturn('\r');
constexpr QLatin1Char lineFeed('\n');

/// Asks for large pages where they are not the default: touching 40 MB for the first time in small ones
/// takes longer than reading and decoding 20 MB of text.
void expectLargeUse(void *memory, qint64 size)
{
    constexpr qint64 worthwhile = Q_INT64_C(4) * 1024 * 1024;
    if (size < worthwhile)
        return;
    const qint64 page = ::sysconf(_SC_PAGESIZE);
    const qint64 start = page - qint64(quintptr(memory) % quintptr(page));
    ::madvise(static_cast<char *>(memory) + start, std::size_t((size - start) / page * page), MADV_HUGEPAGE);
}

Result writeAll(const Descriptor &file, const QByteArray &bytes)
{
    return TesCoreBase::writeAll(file.get(), bytes.constData(), std::size_t(bytes.size()));
}

/// Reads the rest of the file, of which `expected` bytes are expected.
Result readBytes(const Descriptor &file, qint64 expected, QByteArray &bytes)
{
    using Size = SizeOf<QByteArray>;
    constexpr qint64 limit = maxSize<QByteArray>();
    if (expected >= limit)
        return Result(EFBIG);
    // One byte more than expected, so that the end shows in the same read.
    bytes = QByteArray(Size(expected > 0 ? expected + 1 : smallestBuffer), Qt::Uninitialized);
    expectLargeUse(bytes.data(), bytes.size());
    for (std::size_t filled = 0;;) {
        const std::size_t room = std::size_t(bytes.size()) - filled;
        std::size_t got = 0;
        const Result read = readAll(file.get(), bytes.data() + filled, room, &got);
        filled += got;
        if (!read || got < room) {
            bytes.resize(Size(filled));
            return read;
        }
        if (qint64(filled) >= limit)
            return Result(EFBIG);
        bytes.resize(Size(std::min(limit, 2 * qint64(filled))));
    }
}

/// Reads the text of the rest of the file, of which `expected` bytes are expected.
Result readText(const Descriptor &file, qint64 expected, QTextCodec *codec, QString &text)
{
    text = QLatin1String("");
    if (codec == nullptr) {
        QByteArray bytes;
        const Result read = readBytes(file, expected, bytes);
        text += QString::fromUtf8(bytes);
        return read;
    }
    constexpr qint64 limit = maxSize<QString>();
    // No codec takes more than four bytes for each code unit.
    if (expected / 4 > limit)
        return Result(EFBIG);

    TextDecoder decoder(codec);
    QByteArray block(int(std::clamp<qint64>(expected + 1, smallestBuffer, blockSize)), Qt::Uninitialized);
    const auto whole = std::size_t(block.size());
    for (std::size_t got = whole; got == whole;) {
        if (const Result read = readAll(file.get(), block.data(), whole, &got); !read)
            return read;
        if (text.isEmpty() && got == whole) {
            const qint64 length = std::min(expected, limit - 1);
            text.reserve(SizeOf<QString>(length));
            expectLargeUse(text.data(), length * qint64(sizeof(QChar)));
        }
        const QString more = decoder.decode(block.constData(), int(got));
        if (more.size() >= limit - text.size())
            return Result(EFBIG);
        text += more;
    }
    text += decoder.finish();
    return Result();
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
template <typename Content, typename Read>
Content readFile(const QString &path, QString *error, Read read)
{
    return orFailure([&] {
        qint64 expected = 0;
        const Descriptor file = openForReading(path, error, &expected);
        if (!file.isOpen())
            return Content();
        Content content;
        // The size of a file is somebody else's choice: one too large for the memory is a failed read.
        const Result done = orFailure([&] { return read(file, expected, content); }, Result(ENOMEM));
        if (done)
            return content;
        if (error != nullptr)
            *error = errorText(done.error());
        return Content();
    });
}

/// Writes the text after the file was opened.
Result writeText(const Descriptor &file, const QString &text, TextEncoder &encoder)
{
    for (QStringView rest = text; !rest.isEmpty();) {
        auto length = std::min<qsizetype>(rest.size(), blockSize);
        if (length < rest.size() && rest[length - 1].isHighSurrogate())
            --length;
        if (const Result written = writeAll(file, encoder.encode(rest.left(length))); !written)
            return written;
        rest = rest.mid(length);
    }
    return writeAll(file, encoder.finish());
}

} // namespace

bool TESCoreUtil::WriteUnicodeTextFile(const QString &text, const QString &path, QString *error,
                                       const char *codec)
{
    return orFailure([&] {
        TextEncoder encoder(codecNamed(codec));
        const Descriptor file = openForWriting(path, O_CREAT | O_TRUNC, error);
        if (file.isOpen())
            static_cast<void>(writeText(file, text, encoder)); // what fails after the opening is not told
        return file.isOpen();
    });
}

QString TESCoreUtil::ReadUnicodeTextFile(const QString &path, QString *error, const char *codec,
                                         bool convertLineEndings)
{
    return readFile<QString>(path, error, [&](const Descriptor &file, qint64 expected, QString &text) {
        const Result read = readText(file, expected, codecNamed(codec), text);
        if (convertLineEndings && !text.isEmpty()) {
            const QChar *end = normaliseLineEndings(text, text.data());
            text.resize(SizeOf<QString>(end - text.constData()));
        }
        text.squeeze();
        return read;
    });
}

QByteArray TESCoreUtil::ReadBinaryFile(const QString &path, QString *error)
{
    return readFile<QByteArray>(path, error, readBytes);
}

bool TESCoreUtil::WriteBinaryFile(const QByteArray &data, const QString &path, QString *error)
{
    return orFailure([&] {
        Descriptor file = openForWriting(path, O_CREAT | O_TRUNC, error);
        if (!file.isOpen())
            return false;
        const Result written = writeAll(file, data);
        // Some file systems tell only now that there was no room.
        if (const Result closed = file.close(); closed && written)
            return true;
        if (error != nullptr)
            *error = QObject::tr("Could not write all data to file");
        return false;
    });
}

QString TESCoreUtil::ConvertLineEndings(const QString &text)
{
    if (!text.contains(carriageReturn))
        return text;
    return orFailure([&] {
        QString result(text.size(), Qt::Uninitialized);
        expectLargeUse(result.data(), result.size() * qint64(sizeof(QChar)));
        const QChar *end = normaliseLineEndings(text, result.data());
        result.resize(SizeOf<QString>(end - result.constData()));
        return result;
    });
}
