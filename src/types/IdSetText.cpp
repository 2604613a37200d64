#include <TesCore/TCoreType.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>
#include <optional>
#include <vector>

namespace {

/// Consecutive ids, both ends included.
struct Span
{
    int first;
    int last;
};

// Twelve characters can ask for two thousand million ids. What the ranges of one text may make us hold,
// beyond one id for each, is bounded here, far above what the applications store.
constexpr qint64 mostIdsOfRanges = 10000000;

constexpr qint64 largestId = std::numeric_limits<int>::max();

const QChar *skipSpace(const QChar *at, const QChar *end)
{
    return std::find_if_not(at, end, [](QChar c) { return c.isSpace(); });
}

/// Reads one id: what QString::toInt() of Qt 5 accepts as a decimal number (white space around it, one sign,
/// leading zeros), but no negative number but zero. Moves `at` behind it; false when no id is there. `dash`
/// tells whether "-" is a sign here, as U+2212 always is.
bool readId(const QChar *&at, const QChar *end, bool dash, int *id)
{
    at = skipSpace(at, end);
    const bool isNegative = at != end && (*at == QChar(0x2212) || (dash && *at == QLatin1Char('-')));
    if (isNegative || (at != end && *at == QLatin1Char('+')))
        ++at;
    const qint64 largest = isNegative ? 0 : largestId;
    const QChar *const digits = at;
    qint64 value = 0;
    for (; at != end && *at >= QLatin1Char('0') && *at <= QLatin1Char('9') && value <= largest; ++at)
        value = value * 10 + (at->unicode() - '0');
    if (at == digits || value > largest)
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

std::vector<Span> readPieces(const QString &text)
{
    std::vector<Span> spans;
    const QChar *const end = text.constData() + text.size();
    for (const QChar *at = text.constData();; ++at) {
        if (const auto span = readPiece(at, end))
            spans.push_back(*span);
        if (at == end)
            return spans;
    }
}

bool isBefore(Span a, Span b)
{
    return a.first != b.first ? a.first < b.first : a.last < b.last;
}

/// Brings the spans into ascending order, drops what is repeated, and then the spans that exceed the bound.
/// Each id is left once. The number of ids.
qint64 makeDisjoint(std::vector<Span> &spans)
{
    if (!std::is_sorted(spans.begin(), spans.end(), isBefore)) // as what toString() writes is
        std::sort(spans.begin(), spans.end(), isBefore);
    qint64 count = 0;
    qint64 left = mostIdsOfRanges;
    qint64 next = 0; // the first id beyond those that are left so far
    auto kept = spans.begin();
    for (const Span span : spans) {
        const qint64 first = std::max<qint64>(span.first, next);
        const qint64 more = span.last - first;
        if (more < 0 || more > left)
            continue;
        left -= more;
        count += more + 1;
        next = first + more + 1;
        *kept++ = {int(first), span.last};
    }
    spans.erase(kept, spans.end());
    return count;
}

void appendId(QString &text, int id)
{
    char digits[std::numeric_limits<int>::digits10 + 2];
    const char *const end = std::to_chars(std::begin(digits), std::end(digits), id).ptr;
    text += QLatin1String(digits, int(end - digits));
}

} // namespace

namespace TCoreType {

QString toString(const QSet<int> &ids)
{
    std::vector<int> sorted;
    sorted.reserve(std::size_t(ids.size()));
    std::copy(ids.begin(), ids.end(), std::back_inserter(sorted));
    // Merging is twice as fast as std::sort() here: the set gives most ids in ascending runs.
    std::stable_sort(sorted.begin(), sorted.end());

    QString text;
    for (auto id = sorted.begin(); id != sorted.end(); ++id) {
        const auto first = id;
        while (id + 1 != sorted.end() && id[1] == *id + 1)
            ++id;
        if (!text.isEmpty())
            text += QLatin1String(", ");
        appendId(text, *first);
        if (id != first) {
            text += QLatin1Char('-');
            appendId(text, *id);
        }
    }
    return text;
}

QSet<int> splitToIds(const QString &text)
{
    std::vector<Span> spans = readPieces(text);
    QSet<int> ids;
    ids.reserve(int(makeDisjoint(spans)));
    for (const Span span : spans) {
        for (qint64 id = span.first; id <= span.last; ++id)
            ids.insert(int(id));
    }
    return ids;
}

} // namespace TCoreType
