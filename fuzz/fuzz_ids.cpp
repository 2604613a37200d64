#include "fuzz.h"

#include <TesCore/TCoreType.h>

#include <support/oracles.h>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    const QString text = Fields(data, size).text();
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
        return 0;
    const QSet<int> ids = TCoreType::splitToIds(text);
    require(ids == Oracle::splitToIds(pieces.join(QLatin1Char(','))));
    require(TCoreType::splitToIds(TCoreType::toString(ids)) == ids);
    return 0;
}
