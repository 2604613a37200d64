#include <TesCore/TESCoreUtil.h>

// The constructor compiles the pattern that it is given, while other threads wait. A pattern that is set
// later would be compiled by the first copy, inside the shared object and without a lock.

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
