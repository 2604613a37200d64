#ifndef TESCORE_TESTS_OPERATIONS_H
#define TESCORE_TESTS_OPERATIONS_H

#include <TesCore/TESCoreUtil.h>
#include <TesCore/TESTempFolder.h>

#include <QCryptographicHash>
#include <QHash>
#include <QThreadPool>

#include <functional>

/// What a file named "big" holds where an operation is to answer for its content.
inline QByteArray bigContent()
{
    return QByteArray("all of it ").repeated(8'000);
}

/// Runs one operation on paths in the working folder: "move S D". A reader that gives something else than the
/// content ends the process.
inline bool run(const QString &command)
{
    using namespace TESCoreUtil;
    const QStringList words = command.split(QLatin1Char(' '));
    const QString a = words.value(1);
    const QString b = words.value(2);
    const auto isRight = [](const QByteArray &given, const QByteArray &right) {
        return given.isNull() || given == right ? !given.isNull() : (std::abort(), false);
    };
    const QByteArray digest = QCryptographicHash::hash(bigContent(), QCryptographicHash::Sha1);
    const QHash<QString, std::function<bool()>> operations = {
        {QStringLiteral("unlink"), [&] { return DeleteFile(a); }},
        {QStringLiteral("rename"), [&] { return RenameFile(a, b, false); }},
        {QStringLiteral("rename!"), [&] { return RenameFile(a, b, true); }},
        {QStringLiteral("mv"), [&] { return MoveFile(a, b, false); }},
        {QStringLiteral("mv!"), [&] { return MoveFile(a, b, true); }},
        {QStringLiteral("readable"), [&] { return IsReadable(a); }},
        {QStringLiteral("writable"), [&] { return IsWritable(a); }},
        {QStringLiteral("quick"), [&] { return MoveDirectoryQuick(a, b); }},
        {QStringLiteral("move"), [&] { return MoveDirectory(a, b); }},
        {QStringLiteral("copy"), [&] { return CopyDirectory(QDir(a), QDir(b)); }},
        {QStringLiteral("copyfiles"), [&] { return CopyFiles(a, b), true; }},
        {QStringLiteral("delete"), [&] { return DeleteFolderAndFiles(a); }},
        {QStringLiteral("empty"), [&] { return DeleteFolderContents(a); }},
        {QStringLiteral("list"), [&] { return RecursiveGetFiles(a).size() == b.toInt(); }},
        {QStringLiteral("count"), [&] { return getFileAndDirCount(a) == b.toInt(); }},
        {QStringLiteral("hash"), [&] { return isRight(calcHashSum(a), digest); }},
        {QStringLiteral("read"), [&] { return isRight(ReadBinaryFile(a), bigContent()); }},
        {QStringLiteral("readtext"), [&] { return isRight(ReadUnicodeTextFile(a).toUtf8(), bigContent()); }},
        {QStringLiteral("write"), [&] { return WriteBinaryFile(bigContent(), a); }},
        {QStringLiteral("writetext"), [&] { return WriteUnicodeTextFile(QString(30'000, u'x'), a); }},
        {QStringLiteral("tempcopy"), [&] { return !CreateTemporaryCopy(a).isNull(); }},
        {QStringLiteral("tempfolder"), [&] { return QFileInfo::exists(GetNewTempFolderPath(true)); }},
        {QStringLiteral("tempobject"),
         [] {
             const QString path = TESTempFolder(true, true).path();
             return QThreadPool::globalInstance()->waitForDone() && !path.isEmpty();
         }},
    };
    return operations.value(words.first())();
}

#endif
