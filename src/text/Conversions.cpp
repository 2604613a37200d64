#include <TesCore/TESCoreUtil.h>

#include <base/qtcompat_p.h>

#include <QUrl>

#include <cmath>

namespace TESCoreUtil {

QString URLEncodePath(const QString &path)
{
    return QString::fromLatin1(QUrl::toPercentEncoding(path, QByteArrayLiteral("/#")));
}

QString URLDecodePath(const QString &path)
{
    return QUrl::fromPercentEncoding(path.toUtf8());
}

// Gives the float that writing the value with one decimal and reading it back gives, without the text. Every
// step up to the division is exact: a float times ten has at most 28 significant bits. The quotient is never
// so close to the middle of two floats that the wider registers of the x87 could round it to the other one.
float RoundToOneDecimal(float value)
{
    constexpr float firstWithoutFraction = 8388608.0f; // 2^23
    if (!(std::fabs(value) < firstWithoutFraction))
        return value;
    const double tenths = std::floor(std::fabs(double(value)) * 10.0 + 0.5);
    const auto rounded = static_cast<float>(tenths / 10.0);
    return value < 0 ? -rounded : rounded;
}

QDate convertCompileStringDate(const QString &date)
{
    return TesCoreBase::toDate(date, QStringLiteral("MMM d yyyy"));
}

} // namespace TESCoreUtil
