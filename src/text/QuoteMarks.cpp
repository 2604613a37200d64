#include <TesCore/TESQuote.h>

#include "quotetables_p.h"

#include <iterator>

namespace TESQuote {

using namespace TesCoreText;

namespace {

enum Sides { Opening = 1, Closing = 2, Both = Opening | Closing };

template <typename Styles>
QSet<QChar> marksOf(const Styles &styles, Sides sides)
{
    QSet<QChar> marks;
    for (const auto &style : styles) {
        if (sides & Opening)
            marks.insert(QChar(style.opening));
        if (sides & Closing)
            marks.insert(QChar(style.closing));
    }
    return marks;
}

QString characterClass(QChar plain, const QSet<QChar> &marks)
{
    QString pattern;
    pattern.reserve(marks.size() + 3);
    pattern += QLatin1Char('[');
    pattern += plain;
    for (QChar mark : marks)
        pattern += mark;
    pattern += QLatin1Char(']');
    return pattern;
}

/// Whether `map` holds the marks of both tables, and no others.
constexpr bool holdsMarksOf(const Internal::MarkMap &map, Sides sides)
{
    char16_t marks[2 * (std::size(doubleStyles) + std::size(singleStyles)) + 1] = {};
    char16_t *end = marks;
    const auto add = [&](const auto &styles) {
        for (const auto &style : styles) {
            if (sides & Opening)
                *end++ = style.opening;
            if (sides & Closing)
                *end++ = style.closing;
        }
    };
    add(doubleStyles);
    add(singleStyles);
    const Internal::MarkMap expected(marks);
    for (unsigned number = 0; number < Internal::MarkMap::blockCount; ++number) {
        if (map.block(number) != expected.block(number))
            return false;
    }
    return true;
}
static_assert(holdsMarksOf(Internal::openMarks, Opening) && holdsMarksOf(Internal::closeMarks, Closing));

// Makes the library hold the two inline functions for callers that do not inline them.
[[gnu::used]] constexpr bool (*exported[])(const QChar &) = {&isOpenQuote, &isCloseQuote};

} // namespace

QSet<QChar> startingDoubleQuotes()
{
    static const QSet<QChar> marks = marksOf(doubleStyles, Opening);
    return marks;
}

QSet<QChar> closingDoubleQuotes()
{
    static const QSet<QChar> marks = marksOf(doubleStyles, Closing);
    return marks;
}

QSet<QChar> doubleQuotesAll()
{
    static const QSet<QChar> marks = marksOf(doubleStyles, Both);
    return marks;
}

QSet<QChar> startingSingleQuotes()
{
    static const QSet<QChar> marks = marksOf(singleStyles, Opening);
    return marks;
}

QSet<QChar> closingSingleQuotes()
{
    static const QSet<QChar> marks = marksOf(singleStyles, Closing);
    return marks;
}

QSet<QChar> singleQuotesAll()
{
    return marksOf(singleStyles, Both);
}

QString doubleQuotesSearchPattern()
{
    return characterClass(asciiDoubleQuote(), doubleQuotesAll());
}

QString singleQuotesSearchPattern()
{
    return characterClass(asciiSingleQuote(), singleQuotesAll());
}

} // namespace TESQuote
