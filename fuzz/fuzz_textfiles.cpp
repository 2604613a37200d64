#include "fuzz.h"

#include <TesCore/TESCoreUtil.h>

#include <QCryptographicHash>
#include <QTextCodec>

#include <support/oracles.h>

#include <unistd.h>

// The first field names a codec by its place in the list, the second is a text to write, and all from there
// on a file to read.
void check(Fields fields)
{
    static const QString path = QStringLiteral("/dev/shm/tescore-fuzz-%1").arg(::getpid());
    static const QList<QByteArray> codecs = QTextCodec::availableCodecs();
    const QByteArray &name = codecs.at(int(unsigned(fields.number()) % unsigned(codecs.size())));
    const QByteArray raw = fields.rest();
    const QString text = fields.text();

    QString error;
    require(TESCoreUtil::WriteBinaryFile(raw, path, &error));
    require(TESCoreUtil::ReadBinaryFile(path, &error) == raw);
    require(TESCoreUtil::calcHashSum(path) == QCryptographicHash::hash(raw, QCryptographicHash::Sha1));
    const QString read = TESCoreUtil::ReadUnicodeTextFile(path, &error, name.constData(), false);
    require(!read.isNull());
    const QString lines = Oracle::convertLineEndings(read);
    require(TESCoreUtil::ConvertLineEndings(read) == lines);
    require(TESCoreUtil::ReadUnicodeTextFile(path, &error, name.constData(), true) == lines);

    // Whatever UTF-8, UTF-16 and UTF-32 can hold comes back; a leading mark is not part of a text.
    require(TESCoreUtil::WriteUnicodeTextFile(text, path, &error, name.constData()));
    const bool holdsAll = name.startsWith("UTF-8") || name.startsWith("UTF-16") || name.startsWith("UTF-32");
    if (holdsAll && isWellFormed(text) && !text.startsWith(QChar::ByteOrderMark) &&
        !text.startsWith(QChar::ByteOrderSwapped) && !text.contains(QChar::Null))
        require(TESCoreUtil::ReadUnicodeTextFile(path, &error, name.constData(), false) == text);
    require(error.isEmpty());
}
