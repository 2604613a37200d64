#include "fuzz.h"

#include <TesCore/TCoreType.h>

namespace {

constexpr qint64 kMostIds = 10'000'000;

int id(const QString &text, bool *ok)
{
    const int value = text.toInt(ok);
    *ok = *ok && value >= 0 && !text.contains(QChar(0x2212));
    return value;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    const QString text = Fields(data, size).text();
    QSet<int> expected;
    qint64 read = 0;
    const QStringList pieces = text.split(QLatin1Char(','));
    for (const QString &piece : pieces) {
        const int dash = int(piece.indexOf(QLatin1Char('-')));
        bool isFirst = false, isLast = false;
        const qint64 first = id(dash < 0 ? piece : piece.left(dash), &isFirst);
        const qint64 last = id(dash < 0 ? piece : piece.mid(dash + 1), &isLast);
        if (!isFirst || !isLast || first > last || read + last - first + 1 > kMostIds)
            continue;
        read += last - first + 1;
        if (read > 100'000) // what is left would only cost time
            return 0;
        for (qint64 each = first; each <= last; ++each)
            expected.insert(int(each));
    }
    const QSet<int> ids = TCoreType::splitToIds(text);
    require(ids == expected);
    require(TCoreType::splitToIds(TCoreType::toString(ids)) == ids);
    return 0;
}
