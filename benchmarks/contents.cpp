#include "contest.h"
#include "inputs.h"
#include "rows.h"

#include <TesCore/TESCoreUtil.h>

#include <QCryptographicHash>
#include <QFile>
#include <QTextStream>

namespace {

QByteArray bytesOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The stream as one sets it up for UTF-8, in Qt 5 and Qt 6.
void useUtf8(QTextStream &stream)
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    stream.setCodec("UTF-8");
#else
    stream.setEncoding(QStringConverter::Utf8);
#endif
}

QString qtRead(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    QTextStream stream(&file);
    useUtf8(stream);
    stream.setAutoDetectUnicode(true);
    return stream.readAll();
}

bool qtWrite(const QString &text, const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text))
        return false;
    QTextStream stream(&file);
    useUtf8(stream);
    stream << text;
    stream.flush();
    return file.flush();
}

void addTextFile(Table &table, const Storage &storage, Letters letters, const std::string &kind)
{
    const QString path = QString::fromStdString(storage.path("text"));
    const std::string input = kind + ", " + storage.kind();
    const bool isMemory = storage.kind() == "memory";
    table.add({"ReadUnicodeTextFile", input, isMemory ? 0.9 : 0, 1}, [&] {
        qtWrite(sampleText(letters, QStringLiteral("\n")), path);
        return Contest{{{"ours", [=] { return TESCoreUtil::ReadUnicodeTextFile(path); }},
                        {"QTextStream", [=] { return qtRead(path); }}}};
    });
    table.add({"WriteUnicodeTextFile", input, isMemory ? 0.7 : 0, 1}, [&] {
        const QString text = sampleText(letters, QStringLiteral("\n"));
        const QByteArray expected = text.toUtf8();
        return Contest{{{"ours", [=] { return TESCoreUtil::WriteUnicodeTextFile(text, path); }},
                        {"QTextStream", [=] { return qtWrite(text, path); }}},
                       [=] { QFile::remove(path); },
                       [=] { bytesOf(path) == expected ? void() : fail("other bytes were written"); }};
    });
    QFile::remove(path);
}

} // namespace

void addContentRows(Table &table, const Storage &storage)
{
    addTextFile(table, storage, Letters::Ascii, "20 MB of ASCII");
    addTextFile(table, storage, Letters::Typographic, "20 MB, one word in 40 not ASCII");
    constexpr auto sha1 = QCryptographicHash::Sha1;
    table.add({"calcHashSum", "50 MB, " + storage.kind(), storage.kind() == "memory" ? 1.03 : 0, 1}, [&] {
        const std::string file = storage.tree(largeFiles) + "/image 0.dat";
        const QString path = QString::fromStdString(file);
        const QByteArray bytes = bytesOf(path);
        return Contest{
            {{"ours", [=] { return TESCoreUtil::calcHashSum(path); }},
             {"QCryptographicHash in memory", [=] { return QCryptographicHash::hash(bytes, sha1); }},
             {"Qt", [=] { return QCryptographicHash::hash(bytesOf(path), sha1); }},
             {"sha1sum", [=] {
                  return QByteArray::fromHex(output({"sha1sum", file}).left(40));
              }}}};
    });
    table.add({"calcHashSum", "200 files of 1 to 3 KB, " + storage.kind(), 0, 200}, [&] {
        const QStringList paths =
            TESCoreUtil::RecursiveGetFiles(QString::fromStdString(storage.tree(smallFiles))).mid(0, 200);
        const auto each = [=](auto digest) {
            return [=] {
                QByteArray digests;
                for (const QString &path : paths)
                    digests += digest(path);
                return digests;
            };
        };
        return Contest{{{"ours", each(TESCoreUtil::calcHashSum)}, {"Qt", each([=](const QString &path) {
                                                                       return QCryptographicHash::hash(
                                                                           bytesOf(path), sha1);
                                                                   })}}};
    });
}
