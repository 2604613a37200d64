#include <TesCore/TESCoreUtil.h>

#include "path_p.h"
#include <base/nativepath_p.h>

#include <QFileInfo>

namespace {

bool isTaken(const QByteArray &native)
{
    struct stat status;
    return !native.isNull() && TesCoreFiles::Path(native).status(&status);
}

bool isTaken(const QString &path)
{
    return isTaken(TesCoreBase::nativePath(path));
}

} // namespace

QString TESCoreUtil::GetUniqueFileName(const QString &path, QString separator)
{
    if (separator.isEmpty())
        separator = QStringLiteral("_");
    QString candidate = path;
    // The name grows with each step, so this ends at the latest where it is too long for any entry.
    for (int counter = 1; isTaken(candidate); ++counter) {
        const QFileInfo info(candidate);
        candidate = info.dir().absoluteFilePath(info.completeBaseName() + separator +
                                                QString::number(counter) + QLatin1Char('.') + info.suffix());
    }
    return candidate;
}

QString TESCoreUtil::GetUniqueFileName(const QString &path)
{
    return GetUniqueFileName(path, QString());
}

QString TESCoreUtil::GetUniqueSequentialFileName(const QString &path)
{
    if (!isTaken(path))
        return path;
    const QFileInfo info(path);
    const QString before =
        info.absolutePath() + QLatin1Char('/') + info.completeBaseName() + QLatin1Char(' ');
    const QString after = QLatin1Char('.') + info.suffix();
    // Thousands of names may be taken: only their numbers are written anew.
    const QByteArray nativeBefore = TesCoreBase::encodedName(before);
    const QByteArray nativeAfter = TesCoreBase::encodedName(after);
    int counter = 1;
    while (isTaken(nativeBefore + QByteArray::number(counter) + nativeAfter))
        ++counter;
    return before + QString::number(counter) + after;
}
