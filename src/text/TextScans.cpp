#include <TesCore/TESCoreUtil.h>

#include "quotetables_p.h"

#include <algorithm>

// Loops over whole texts. They work in blocks of a fixed number of characters, which compilers turn into a
// few vector instructions, and decide only between two blocks. What is left at the end of a text is covered
// by a last block that overlaps the one before.

using namespace TesCoreText;

namespace {

using Size = QString::size_type; // int in Qt 5, qsizetype since Qt 6

constexpr Size blockSize = 16;

/// Calls `block(begin)` for each block of a text of `size` characters, as long as that returns true. False
/// when the text is shorter than a block.
template <typename Block>
bool forEachBlock(Size size, Block block)
{
    if (size < blockSize)
        return false;
    Size begin = 0;
    for (; begin <= size - blockSize; begin += blockSize) {
        if (!block(begin))
            return true;
    }
    if (begin < size)
        block(size - blockSize);
    return true;
}

/// Whether `matches` gives anything but 0 for a character of the block.
template <typename Matches>
bool blockMatches(const QChar *block, Matches matches)
{
    ushort found = 0;
    for (int i = 0; i < blockSize; ++i)
        found = ushort(found | matches(block[i].unicode()));
    return found != 0;
}

/// The start of a block of `text` that holds the first character for which `matches` gives anything but 0; -1
/// when there is none.
template <typename Matches>
Size firstBlockWith(const QString &text, Matches matches)
{
    const QChar *const characters = text.constData();
    Size found = -1;
    const bool searched = forEachBlock(text.size(), [&](Size begin) {
        if (blockMatches(characters + begin, matches))
            found = begin;
        return found < 0;
    });
    if (searched)
        return found;
    const bool any =
        std::any_of(text.begin(), text.end(), [&](QChar c) { return matches(c.unicode()) != 0; });
    return any ? 0 : -1;
}

/// The marks to replace, by their code units.
struct Marks
{
    ushort doubleOpening;
    ushort doubleClosing;
    ushort singleOpening;
    ushort singleClosing;

    // Numbers rather than truth values: without branches.
    int isDouble(ushort c) const { return (c == doubleOpening) | (c == doubleClosing); }
    int isSingle(ushort c) const { return (c == singleOpening) | (c == singleClosing); }
    ushort plain(ushort c) const
    {
        const ushort unlessDouble = isSingle(c) ? ushort(asciiSingle) : c;
        return isDouble(c) ? ushort(asciiDouble) : unlessDouble;
    }
};

// A call of its own, so that the compiler takes the promise that the two do not overlap.
inline void copyPlain(Marks marks, const QChar *__restrict from, QChar *__restrict to)
{
    for (int i = 0; i < blockSize; ++i)
        to[i] = QChar(marks.plain(from[i].unicode()));
}

} // namespace

namespace TESCoreUtil {

bool isUnicode(const QString &text)
{
    return firstBlockWith(text, [](ushort c) { return ushort(c & 0xFF80); }) >= 0;
}

} // namespace TESCoreUtil

namespace TESQuote {

QString simplifyQuotes(const QString &text, const QPair<QChar, QChar> &singleQuotePair,
                       const QPair<QChar, QChar> &doubleQuotePair, bool *replaced)
{
    const Marks marks = {doubleQuotePair.first.unicode(), doubleQuotePair.second.unicode(),
                         singleQuotePair.first.unicode(), singleQuotePair.second.unicode()};
    const Size first =
        firstBlockWith(text, [marks](ushort c) { return ushort(marks.isDouble(c) | marks.isSingle(c)); });
    if (replaced)
        *replaced = first >= 0;
    if (first < 0)
        return text;

    QString result(text.size(), Qt::Uninitialized);
    const QChar *from = text.constData();
    QChar *to = std::copy_n(from, first, result.data());
    from += first;
    const Size count = text.size() - first;
    const bool done = forEachBlock(count, [=](Size begin) {
        copyPlain(marks, from + begin, to + begin);
        return true;
    });
    if (!done)
        std::transform(from, from + count, to, [marks](QChar c) { return QChar(marks.plain(c.unicode())); });
    return result;
}

} // namespace TESQuote
