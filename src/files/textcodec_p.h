#ifndef TESCORE_TEXTCODEC_P_H
#define TESCORE_TEXTCODEC_P_H

#include <QByteArray>
#include <QString>
#include <QStringView>
#include <QTextCodec>

namespace TesCoreFiles {

/// The codec of that name; UTF-8 for null, the locale's for a name that is not known. Null while static
/// objects are destroyed, when Qt's codecs are gone.
QTextCodec *codecNamed(const char *name);

/// Decodes a text that arrives in blocks. The codec must not be null.
class TextDecoder
{
public:
    /// A byte-order mark at the start of the text selects another codec.
    explicit TextDecoder(QTextCodec *codec) : m_codec(codec) {}

    /// The text of the next block. The first must hold at least four bytes, unless the text is shorter.
    QString decode(const char *bytes, int size);
    /// What stands for a character that was begun and never completed.
    QString finish();

private:
    QTextCodec *m_codec;
    QTextCodec::ConverterState m_state;
    bool m_started = false;
};

/// Encodes a text in blocks, without a byte-order mark. A null codec stands for UTF-8.
class TextEncoder
{
public:
    explicit TextEncoder(QTextCodec *codec) : m_codec(codec), m_state(QTextCodec::IgnoreHeader) {}

    /// The bytes of the next block, which must not end between the halves of a surrogate pair.
    QByteArray encode(QStringView block);
    /// The bytes that the codec held back.
    QByteArray finish();

private:
    QTextCodec *m_codec;
    QTextCodec::ConverterState m_state;
};

} // namespace TesCoreFiles

#endif
