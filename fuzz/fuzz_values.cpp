#include "fuzz.h"

#include <TesCore/TCoreType.h>

#include <QPointF>

#include <support/oracles.h>

#include <cmath>

namespace {

void checkIds(const QString &text)
{
    qint64 named = 0;
    QStringList pieces = text.split(QLatin1Char(','));
    for (QString &piece : pieces) {
        const QPair<int, int> range = Oracle::idRange(piece);
        const qint64 count = qint64(range.second) - range.first + 1;
        if (count > 10'000'001)
            piece.clear(); // more than the ranges of a text may give
        else
            named += count;
    }
    if (named > 100'000) // what is left would only cost time
        return;
    const QSet<int> ids = TCoreType::splitToIds(text);
    require(ids == Oracle::splitToIds(pieces.join(QLatin1Char(','))));
    require(TCoreType::splitToIds(TCoreType::toString(ids)) == ids);
}

/// What the text is, when its first comma stands between two numbers, and as the library reads it.
template <typename Pair, typename Read>
Pair checkedPair(const QString &text, Pair (*toPair)(const QString &, bool *), Read read)
{
    bool ok = false, firstOk = false, secondOk = false;
    const Pair pair = toPair(text, &ok);
    const auto comma = text.indexOf(QLatin1Char(','));
    const Pair parts(read(text.left(comma), &firstOk), read(text.mid(comma + 1), &secondOk));
    require(ok == (comma >= 0 && firstOk && secondOk));
    require(pair == (ok ? parts : Pair()) || std::isnan(double(pair.first) + double(pair.second)));
    return pair;
}

void checkPairs(const QString &text)
{
    checkedPair(text, TCoreType::toIntPair, [](const QString &part, bool *ok) { return part.toInt(ok); });
    const auto pair = checkedPair(text, TCoreType::toDoublePair,
                                  [](const QString &part, bool *ok) { return part.toDouble(ok); });
    if (std::isnan(pair.first) || std::isnan(pair.second))
        return;
    require(TCoreType::toPointF(text, nullptr) == QPointF(pair.first, pair.second));
    if (qMax(qAbs(pair.first), qAbs(pair.second)) > 1e9)
        return;
    const auto again = TCoreType::toDoublePair(TCoreType::toString(pair, 3), nullptr);
    require(qAbs(again.first - pair.first) <= 0.001 && qAbs(again.second - pair.second) <= 0.001);
}

} // namespace

void check(Fields fields)
{
    const QString text = fields.text();
    checkIds(text);
    checkPairs(text);
}
