// The examples of the page "Files and folders". Compiled with the tests.
#include <TesCore/TESCoreUtil.h>
#include <TesCore/TESFileUtil.h>
#include <TesCore/TESTempFolder.h>

#include <QDebug>

bool exportFolder(const QString &source, const QString &destination)
{
    //! [scratch]
    const TESTempFolder scratch(true, true); // gone some time after the end of this block
    if (!TESCoreUtil::CopyDirectory(QDir(source), QDir(scratch.path())))
        return false; // the source is as it was
    const QStringList files = TESCoreUtil::RecursiveGetFiles(scratch.path());
    for (const QString &file : files)
        qInfo().noquote() << TESCoreUtil::calcHashSum(file).toHex() << file;
    return TESCoreUtil::MoveDirectory(scratch.path(), destination); // durable before the original goes
    //! [scratch]
}

QString savedReport(const QString &text, const QString &wanted)
{
    //! [save]
    const QString path = TESCoreUtil::GetUniqueFileName(wanted); // Report.txt, Report_1.txt, Report_1_2.txt
    QString error;
    if (!TESCoreUtil::WriteBinaryFile(text.toUtf8(), path, &error)) {
        qWarning().noquote() << path << error; // "No space left on device"
        return {};
    }
    return path;
    //! [save]
}

QString document(const QString &path)
{
    //! [load]
    QString error;
    const QString text = TESCoreUtil::ReadUnicodeTextFile(path, &error, nullptr, true);
    if (text.isNull()) // an empty file gives an empty string, which is not null
        qWarning().noquote() << path << error;
    return text;
    //! [load]
}

bool isSame(const QString &a, const QString &b)
{
    //! [digest]
    const QByteArray digest = TESFileUtil::calcChecksum(a, QCryptographicHash::Sha256);
    return !digest.isNull() && digest == TESFileUtil::calcChecksum(b, QCryptographicHash::Sha256);
    //! [digest]
}
