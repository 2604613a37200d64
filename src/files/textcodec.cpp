#include "textcodec_p.h"

#include <QVector>
#include <QtEndian>

#include <cstring>

namespace TesCoreFiles {

namespace {

// The numbers by which IANA knows the character sets that need care (QTextCodec::mibEnum()).
constexpr int utf7 = 1012;
constexpr int utf32 = 1017;
constexpr int utf32BigEndian = 1018;
constexpr int utf32LittleEndian = 1019;

/// Qt 5's own UTF-32 encoder writes four zero bytes too many for each surrogate pair.
QByteArray encodeUtf32(QStringView text, bool bigEndian)
{
    const auto points = text.toUcs4();
    QByteArray bytes(points.size() * 4, Qt::Uninitialized);
    char *to = bytes.data();
    for (const auto point : points) {
        const quint32 stored = bigEndian ? qToBigEndian(quint32(point)) : qToLittleEndian(quint32(point));
        std::memcpy(to, &stored, sizeof stored);
        to += sizeof stored;
    }
    return bytes;
}

} // namespace

QTextCodec *codecNamed(const char *name)
{
    QTextCodec *codec = QTextCodec::codecForName(name == nullptr ? "UTF-8" : name);
    return codec != nullptr ? codec : QTextCodec::codecForLocale();
}

QString TextDecoder::decode(const char *bytes, int size)
{
    if (!m_started)
        m_codec = QTextCodec::codecForUtfText(QByteArray::fromRawData(bytes, size), m_codec);
    m_started = true;
    return m_codec->toUnicode(bytes, size, &m_state);
}

QString TextDecoder::finish()
{
    // Codecs that come from ICU do not count what they hold, but it shows when a line feed follows.
    const bool incomplete = m_state.remainingChars > 0 ||
                            m_codec->toUnicode("\n", 1, &m_state).startsWith(QChar::ReplacementCharacter);
    return incomplete ? QString(QChar::ReplacementCharacter) : QString();
}

QByteArray TextEncoder::encode(QStringView block)
{
    if (m_codec == nullptr)
        return block.toUtf8();
    switch (m_codec->mibEnum()) {
    case utf32:
        return encodeUtf32(block, Q_BYTE_ORDER == Q_BIG_ENDIAN);
    case utf32BigEndian:
        return encodeUtf32(block, true);
    case utf32LittleEndian:
        return encodeUtf32(block, false);
    default:
        return m_codec->fromUnicode(block.data(), int(block.size()), &m_state);
    }
}

QByteArray TextEncoder::finish()
{
    // Half of a surrogate pair, or the last bits of UTF-7, which would be lost: a line feed brings them out.
    if (m_codec == nullptr || (m_state.remainingChars == 0 && m_codec->mibEnum() != utf7))
        return QByteArray();
    const QChar lineFeed = QLatin1Char('\n');
    QByteArray bytes = m_codec->fromUnicode(&lineFeed, 1, &m_state);
    bytes.chop(1);
    return bytes;
}

} // namespace TesCoreFiles
