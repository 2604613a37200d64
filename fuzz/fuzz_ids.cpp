#include "fuzz.h"

#include <TesCore/TCoreType.h>

#include <support/oracles.h>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    const QString text = Fields(data, size).text();
    qint64 named = 0;
    const QStringList pieces = text.split(QLatin1Char(','));
    for (const QString &piece : pieces) {
        const QPair<int, int> range = Oracle::idRange(piece);
        named += qint64(range.second) - range.first + 1;
    }
    const QSet<int> ids = TCoreType::splitToIds(text);
    if (named <= 100'000) // more would only cost time
        require(ids == Oracle::splitToIds(text));
    require(TCoreType::splitToIds(TCoreType::toString(ids)) == ids);
    return 0;
}
