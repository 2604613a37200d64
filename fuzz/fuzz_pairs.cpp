#include "fuzz.h"

#include <TesCore/TCoreType.h>

#include <QPointF>

#include <cmath>

namespace {

template <typename Number, typename Convert>
QPair<Number, Number> readPair(const QString &text, bool *ok, Convert convert)
{
    *ok = false;
    const int comma = int(text.indexOf(QLatin1Char(',')));
    if (comma < 0)
        return {};
    bool isFirst = false, isSecond = false;
    const QPair<Number, Number> pair(convert(text.left(comma), &isFirst),
                                     convert(text.mid(comma + 1), &isSecond));
    *ok = isFirst && isSecond;
    return *ok ? pair : QPair<Number, Number>();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    const QString text = Fields(data, size).text();
    bool ok = false, expected = false;
    const auto ints =
        readPair<int>(text, &expected, [](const QString &part, bool *is) { return part.toInt(is); });
    require(TCoreType::toIntPair(text, &ok) == ints && ok == expected);

    const auto doubles =
        readPair<double>(text, &expected, [](const QString &part, bool *is) { return part.toDouble(is); });
    const auto read = TCoreType::toDoublePair(text, &ok);
    require(ok == expected && TCoreType::toPointF(text, nullptr) == QPointF(read.first, read.second));
    if (!ok || std::isnan(read.first) || std::isnan(read.second) ||
        qMax(qAbs(read.first), qAbs(read.second)) > 1e9)
        return 0;
    require(read == doubles);
    const auto again = TCoreType::toDoublePair(TCoreType::toString(read, 3), &ok);
    require(ok && qAbs(again.first - read.first) <= 0.001 && qAbs(again.second - read.second) <= 0.001);
    return 0;
}
