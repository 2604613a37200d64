#include <TesCore/TESCoreUtil.h>

#include <unistd.h>

namespace TESCoreUtil {

namespace {

// Spares the decoding of entries that begin otherwise. ASCII bytes stand for themselves at the start of an
// entry; what follows any other byte is decided by the decoded text.
bool mayBeginWith(const char *entry, const QString &start)
{
    for (QChar c : start) {
        const uchar byte = static_cast<uchar>(*entry++);
        if (byte >= 0x80)
            return true;
        if (byte != c.unicode() || byte == 0) // a NUL in the name is not the end of the entry
            return false;
    }
    return true;
}

} // namespace

// Qt's own readers would leave out entries: of two with one name they show the last, and none whose name is
// empty.
QString GetEnvironmentVar(const QString &name)
{
    const QLatin1Char separator('=');
    const QString start = name + separator;
    for (char **entry = environ; entry && *entry; ++entry) {
        if (!mayBeginWith(*entry, start))
            continue;
        const QString variable = QString::fromLocal8Bit(*entry);
        if (!variable.startsWith(start))
            continue;
        const auto value = variable.indexOf(separator) + 1;
        const auto end = variable.indexOf(separator, value);
        return end < 0 ? variable.mid(value) : variable.mid(value, end - value);
    }
    return QString();
}

} // namespace TESCoreUtil
