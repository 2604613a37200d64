#include <TesCore/TESCoreUtil.h>

#include "qtpath_p.h"
#include <base/exceptions_p.h>

#include <QFileInfo>

using TesCoreFiles::exists;

QString TESCoreUtil::GetUniqueFileName(const QString &path, QString separator)
{
    return TesCoreBase::orFailure([&] {
        if (separator.isEmpty())
            separator = QStringLiteral("_");
        QString candidate = path;
        // The name grows with each step, so this ends at the latest where it is too long for any entry.
        for (int counter = 1; exists(candidate); ++counter) {
            const QFileInfo info(candidate);
            const QString number = QString::number(counter);
            candidate = info.dir().absoluteFilePath(info.completeBaseName() + separator + number +
                                                    QLatin1Char('.') + info.suffix());
        }
        return candidate;
    });
}

QString TESCoreUtil::GetUniqueFileName(const QString &path)
{
    return GetUniqueFileName(path, QString());
}

QString TESCoreUtil::GetUniqueSequentialFileName(const QString &path)
{
    return TesCoreBase::orFailure([&] {
        if (!exists(path))
            return path;
        const QFileInfo info(path);
        const QString before =
            info.absolutePath() + QLatin1Char('/') + info.completeBaseName() + QLatin1Char(' ');
        const QString after = QLatin1Char('.') + info.suffix();
        QString candidate;
        int counter = 0;
        do {
            candidate = before + QString::number(++counter) + after;
        } while (exists(candidate));
        return candidate;
    });
}
