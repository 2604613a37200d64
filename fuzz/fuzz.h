#ifndef TESCORE_FUZZ_H
#define TESCORE_FUZZ_H

#include <QByteArrayList>
#include <QString>

#include <cstdlib>

/// A finding: what was asked does not hold.
inline void require(bool holds)
{
    if (!holds)
        std::abort();
}

/// The fuzzer's bytes, taken apart into fields, which the byte 0xFF separates.
class Fields
{
public:
    explicit Fields(const QByteArray &bytes) : m_fields(bytes.split('\xff')) {}

    /// All that is left.
    QByteArray rest() const { return m_fields.join('\xff'); }
    QByteArray bytes() { return m_fields.isEmpty() ? QByteArray() : m_fields.takeFirst(); }

    /// A field as text. One that begins with a NUL is taken as UTF-16 code units, so that broken pairs occur
    /// too.
    QString text()
    {
        const QByteArray field = bytes();
        if (!field.startsWith('\0'))
            return QString::fromUtf8(field);
        QString units;
        for (int i = 1; i + 1 < field.size(); i += 2)
            units.append(QChar(uchar(field.at(i)), uchar(field.at(i + 1))));
        return units;
    }

    int number() { return bytes().toInt(); }
    bool isEmpty() const { return m_fields.isEmpty(); }

private:
    QByteArrayList m_fields;
};

/// What each program defines: it does something with the fields and requires what has to hold.
void check(Fields fields);

/// Whether the text has no unpaired surrogate, which no encoding can hold.
inline bool isWellFormed(const QString &text)
{
    return QString::fromUtf8(text.toUtf8()) == text && !text.contains(QChar::ReplacementCharacter);
}

#endif
