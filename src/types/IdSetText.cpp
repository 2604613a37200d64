#include <TesCore/TCoreType.h>

#include <base/qtcompat_p.h>

#include <QtAlgorithms>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>
#include <limits>
#include <numeric>
#include <optional>
#include <vector>

namespace {

/// Consecutive ids, both ends included.
struct Span
{
    int first;
    int last;

    qint64 count() const { return qint64(last) - first + 1; }
};

// Twelve characters can ask for two thousand million ids. What one text may make us hold is bounded here, far
// above what the applications store.
constexpr qint64 mostIdsRead = 10000000;

constexpr qint64 largestId = std::numeric_limits<int>::max();

const QChar *skipSpace(const QChar *at, const QChar *end)
{
    while (at != end && at->isSpace())
        ++at;
    return at;
}

/// Reads the decimal digits that lead a group of four characters. They are taken as one number of four 16-bit
/// lanes, the first character lowest: most of the time goes into reading digits, and this halves it.
int readLeadingDigits(const QChar *group, unsigned *value)
{
    quint64 lanes;
    std::memcpy(&lanes, group, sizeof lanes);
    lanes ^= Q_UINT64_C(0x0030003000300030); // A digit's lane now holds its value.

    // Sets the top bit of every lane that is not 0 to 9; the masked addition cannot carry into the next lane.
    const quint64 others =
        (((lanes & Q_UINT64_C(0x7FFF7FFF7FFF7FFF)) + Q_UINT64_C(0x7FF67FF67FF67FF6)) | lanes) &
        Q_UINT64_C(0x8000800080008000);
    const int count = others ? int(qCountTrailingZeroBits(others)) / 16 : 4;
    if (count > 0) {
        lanes <<= (4 - count) * 16; // Drops what follows the digits and puts zeros before them.
        const quint64 pairs = lanes * 10 + (lanes >> 16);
        *value = unsigned((pairs & 0xFF) * 100 + (pairs >> 32 & 0xFF));
    }
    return count;
}

/// Reads digits up to the first other character and moves `at` behind them; more than `largestId` when the
/// number is too large.
qint64 readNumber(const QChar *&at, const QChar *end)
{
    static constexpr qint64 powers[] = {1, 10, 100, 1000, 10000};
    qint64 value = 0;
    while (Q_BYTE_ORDER == Q_LITTLE_ENDIAN && end - at >= 4 && value <= largestId) {
        unsigned group = 0;
        const int count = readLeadingDigits(at, &group);
        value = value * powers[count] + group;
        at += count;
        if (count < 4)
            return value;
    }
    for (; at != end && *at >= QLatin1Char('0') && *at <= QLatin1Char('9') && value <= largestId; ++at)
        value = value * 10 + (at->unicode() - '0');
    return value;
}

/// Reads one id: what QString::toInt() of Qt 5 accepts as a decimal number (white space around it, one "+",
/// leading zeros), but no negative number. Moves `at` behind it; false when no id is there. `minus` allows
/// that sign, which leaves only zero an id.
bool readId(const QChar *&at, const QChar *end, bool minus, int *id)
{
    at = skipSpace(at, end);
    const bool isNegative = minus && at != end && *at == QLatin1Char('-');
    if (isNegative || (at != end && *at == QLatin1Char('+')))
        ++at;
    const QChar *const digits = at;
    const qint64 value = readNumber(at, end);
    if (at == digits || value > (isNegative ? 0 : largestId))
        return false;
    *id = int(value);
    at = skipSpace(at, end);
    return true;
}

/// Reads a piece of the text, "7" or "3-5", and moves `at` to the comma behind it or to the end. Gives
/// nothing when the piece is not readable.
std::optional<Span> readPiece(const QChar *&at, const QChar *end)
{
    Span span = {0, 0};
    bool isReadable = readId(at, end, false, &span.first);
    span.last = span.first;
    if (isReadable && at != end && *at == QLatin1Char('-'))
        isReadable = readId(++at, end, true, &span.last);

    const QChar *const stop = at;
    at = std::find(at, end, QLatin1Char(','));
    if (!isReadable || stop != at || span.first > span.last)
        return std::nullopt;
    return span;
}

/// The readable pieces of the text in their order, as many as stay within `mostIdsRead`.
std::vector<Span> readSpans(const QString &text, qint64 *count)
{
    std::vector<Span> spans;
    spans.reserve(std::size_t(text.size()) / 8 + 1); // Half the memory of the text; fits ids of six digits.
    const QChar *const end = text.constData() + text.size();
    for (const QChar *at = text.constData();; ++at) {
        const auto span = readPiece(at, end);
        if (span && *count + span->count() <= mostIdsRead) {
            *count += span->count();
            spans.push_back(*span);
        }
        if (at == end)
            return spans;
    }
}

/// Brings the items into the order of their parts, each below `partCount`; within a part they keep theirs.
template <typename Item, typename PartOf>
void distribute(std::vector<Item> &items, std::size_t partCount, PartOf partOf)
{
    std::vector<std::size_t> places(partCount + 1);
    for (const Item &item : items)
        ++places[partOf(item) + 1];
    std::partial_sum(places.begin(), places.end(), places.begin());
    std::vector<Item> distributed(items.size());
    for (const Item &item : items)
        distributed[places[partOf(item)]++] = item;
    items.swap(distributed);
}

/// The ids in ascending order. Large sets are sorted digit by digit: three passes over 11 bits each beat
/// comparing, which costs as much as the rest of the writing.
std::vector<int> sorted(const QSet<int> &ids)
{
    constexpr int digitBits = 11;
    constexpr unsigned digitValues = 1U << digitBits;

    std::vector<int> list;
    list.reserve(std::size_t(ids.size()));
    std::copy(ids.begin(), ids.end(), std::back_inserter(list));
    if (list.size() < digitValues) {
        std::sort(list.begin(), list.end());
        return list;
    }

    for (int shift = 0; shift < 32; shift += digitBits) {
        // With the sign bit flipped, negative ids come first.
        distribute(list, digitValues,
                   [shift](int id) { return (unsigned(id) ^ 0x80000000U) >> shift & (digitValues - 1); });
    }
    return list;
}

/// Brings many spans into the order in which they lie in the table of `ids`. That of a large set does not fit
/// into the processor's caches; to go through it once, part by part, takes less than half of the time.
void orderForInserting(std::vector<Span> &spans, const QSet<int> &ids)
{
    constexpr std::size_t fewSpans = 20000;
    constexpr std::size_t mostParts = 4096;
    if (spans.size() < fewSpans)
        return;
    const TesCoreBase::BucketHint buckets(ids);
    int shift = 0;
    while (buckets.count >> shift >= mostParts)
        ++shift;
    distribute(spans, mostParts, [&](const Span &span) { return buckets.of(span.first) >> shift; });
}

template <typename Visit>
void forEachRun(const std::vector<int> &ids, Visit visit)
{
    for (auto first = ids.begin(); first != ids.end();) {
        auto last = first;
        while (last + 1 != ids.end() && last[1] == *last + 1)
            ++last;
        visit(Span{*first, *last});
        first = last + 1;
    }
}

QChar *writeId(QChar *at, int id)
{
    char digits[std::numeric_limits<int>::digits10 + 2];
    const char *const end = std::to_chars(std::begin(digits), std::end(digits), id).ptr;
    return std::transform(std::cbegin(digits), end, at, [](char digit) { return QLatin1Char(digit); });
}

qint64 width(int id)
{
    QChar digits[std::numeric_limits<int>::digits10 + 2];
    return writeId(digits, id) - digits;
}

} // namespace

namespace TCoreType {

QString toString(const QSet<int> &ids)
{
    if (ids.isEmpty())
        return QString();

    const std::vector<int> list = sorted(ids);
    qint64 numbers = 0;
    qint64 runs = 0;
    forEachRun(list, [&](Span run) {
        numbers += run.count() == 1 ? 1 : 2;
        ++runs;
    });

    // Every number takes a sign that follows it, every run a blank. A text beyond what a string can hold
    // fails to be allocated instead of being cut.
    using Length = decltype(QString().size());
    const qint64 length = numbers * (qMax(width(list.front()), width(list.back())) + 1) + runs;
    QString text(Length(qMin(length, qint64(std::numeric_limits<Length>::max()))), Qt::Uninitialized);

    QChar *at = text.data();
    forEachRun(list, [&](Span run) {
        at = writeId(at, run.first);
        if (run.count() > 1) {
            *at++ = QLatin1Char('-');
            at = writeId(at, run.last);
        }
        *at++ = QLatin1Char(',');
        *at++ = QLatin1Char(' ');
    });
    text.truncate(Length(at - text.constData()) - 2);
    return text;
}

QSet<int> splitToIds(const QString &text)
{
    qint64 count = 0;
    std::vector<Span> spans = readSpans(text, &count);
    QSet<int> ids;
    if (count > 0)
        ids.reserve(int(count));
    if (qint64(spans.size()) > count / 4) // Ids of long spans are neighbours in the table already.
        orderForInserting(spans, ids);
    for (const Span &span : spans) {
        ids.insert(span.first);
        for (int id = span.first; id != span.last;)
            ids.insert(++id);
    }
    return ids;
}

} // namespace TCoreType
