#include <TesCore/TCoreType.h>

#include <base/qtcompat_p.h>

#include <QStringView>

namespace {

// No double has that many digits. Qt aborts the process when it is asked for some thousand million.
constexpr int mostDecimals = 1000000;

template <typename Number, typename Convert>
QPair<Number, Number> readPair(const QString &text, bool *ok, Convert convert)
{
    QPair<Number, Number> pair(0, 0);
    bool firstRead = false;
    bool secondRead = false;
    if (const auto comma = text.indexOf(QLatin1Char(',')); comma >= 0) {
        pair.first = convert(QStringView(text).left(comma), &firstRead);
        pair.second = convert(QStringView(text).mid(comma + 1), &secondRead);
    }
    const bool read = firstRead && secondRead;
    if (ok)
        *ok = read;
    // A failed conversion may still give a number: "1e400" an infinity.
    return read ? pair : QPair<Number, Number>(0, 0);
}

QString component(double value, int precision)
{
    QString text = QString::number(value, 'f', qMin(precision, mostDecimals));
    if (text.count(QLatin1Char('0')) == text.size() - 1 && text.contains(QLatin1Char('.')))
        return QStringLiteral("0.0");
    return text;
}

} // namespace

namespace TCoreType {

QPair<int, int> toIntPair(const QString &text, bool *ok)
{
    return readPair<int>(text, ok, TesCoreBase::toInt);
}

QPair<double, double> toDoublePair(const QString &text, bool *ok)
{
    return readPair<double>(text, ok, [](QStringView part, bool *partOk) { return part.toDouble(partOk); });
}

QPointF toPointF(const QString &text, bool *ok)
{
    const QPair<double, double> pair = toDoublePair(text, ok);
    return QPointF(pair.first, pair.second);
}

QString toString(const QPair<double, double> &pair, int precision)
{
    return component(pair.first, precision) + QLatin1Char(',') + component(pair.second, precision);
}

QString toString(const QPointF &point, int precision)
{
    return toString(QPair<double, double>(point.x(), point.y()), precision);
}

QString toString(const QSizeF &size, int precision)
{
    return toString(QPair<double, double>(size.width(), size.height()), precision);
}

} // namespace TCoreType
