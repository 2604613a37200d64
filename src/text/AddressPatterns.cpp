#include <TesCore/TESCoreUtil.h>

// Each pattern is given to the constructor, which compiles it: one that is set later would be compiled by the
// first copy, within the kept object and without a lock.

namespace TESCoreUtil {

QRegExp emailPattern()
{
    static const QRegExp email(QStringLiteral("\\b[A-Za-z0-9._%+-]+@[A-Za-z0-9.-]+\\.[A-Za-z]{2,4}\\b"));
    return email;
}

QRegExp webUrlPattern()
{
    static const QRegExp url(
        QStringLiteral("\\b[A-Za-z]{3,9}\\:\\/\\/[A-Za-z0-9._:@%+-]+\\.[A-Za-z]{2,4}\\b"));
    return url;
}

QRegExp wwwPattern()
{
    static const QRegExp www(QStringLiteral("\\bwww\\.[A-Za-z0-9._:@%+-]+\\.[A-Za-z]{2,4}\\b"));
    return www;
}

} // namespace TESCoreUtil
