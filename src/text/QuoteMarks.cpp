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

/// For each code unit up to the last mark, which sides of a pair it can be: a test costs one load.
struct SidesTable
{
    unsigned char sides[0x3010] = {};

    bool has(QChar c, Sides side) const
    {
        return c.unicode() < std::size(sides) && (sides[c.unicode()] & side) != 0;
    }
};

template <typename Styles>
constexpr void addSides(SidesTable &table, const Styles &styles)
{
    for (const auto &style : styles) {
        table.sides[style.opening] |= Opening;
        table.sides[style.closing] |= Closing;
    }
}

constexpr SidesTable sidesTable = [] {
    SidesTable table;
    addSides(table, doubleStyles);
    addSides(table, singleStyles);
    return table;
}();

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

bool isOpenQuote(const QChar &c)
{
    return sidesTable.has(c, Opening);
}

bool isCloseQuote(const QChar &c)
{
    return sidesTable.has(c, Closing);
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
