#include <TesCore/TESCoreUtil.h>

#include <algorithm>

namespace TESCoreUtil {

namespace {

bool isLowerCase(QChar c)
{
    const ushort unit = c.unicode();
    if (unit < 0x80)
        return unit >= 'a' && unit <= 'z';
    return c.category() == QChar::Letter_Lowercase;
}

} // namespace

bool IsMixedCase(const QString &text)
{
    if (text.isEmpty())
        return false;
    const bool firstIsLower = isLowerCase(text.front());
    return std::any_of(text.begin() + 1, text.end(), [=](QChar c) { return isLowerCase(c) != firstIsLower; });
}

// QString::mid(start, end - start), where that difference would overflow as well.
QString Substring(int start, int end, const QString &text)
{
    if (end < start)
        return text.mid(start);
    if (start < 0)
        return end > 0 || end == text.size() ? text.left(end) : QString();
    return text.mid(start, end - start);
}

QString ReplaceFirst(const QString &before, const QString &after, const QString &text)
{
    const auto index = text.indexOf(before);
    if (index < 0)
        return text;
    QString result = text;
    result.replace(index, before.size(), after);
    return result;
}

} // namespace TESCoreUtil
