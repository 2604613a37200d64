#ifndef TESCORE_TESQUOTE_H
#define TESCORE_TESQUOTE_H

/// \file TESQuote.h
/// Typographic quotation marks: the pairs of each style, the style of a language, and texts with their marks
/// recognised or made plain.
///
/// \code
/// const QLocale locale(QLocale::German);
/// bool replaced = false;
/// text = TESQuote::simplifyQuotes(text, TESQuote::singleQuotes(locale), TESQuote::doubleQuotes(locale),
///                                 &replaced);
/// \endcode
///
/// A pair holds the opening mark in `first` and the closing mark in `second`. Many characters open in one
/// style and close in another: an opening mark is one that opens in at least one style.
///
/// Every function is safe from any thread. The first call of those that return tables and sets builds them.

#include <TesCore/TesCoreGlobal.h>

#include <QChar>
#include <QHash>
#include <QList>
#include <QLocale>
#include <QPair>
#include <QSet>
#include <QString>

namespace TESQuote {

/// The styles of double quotation marks. The numbers may be stored.
enum DoubleQuoteType {
    DoubleLeftRight = 0,       ///< U+201C U+201D
    DoubleAscii = 1,           ///< U+0022 U+0022
    DoubleLowLeft = 2,         ///< U+201E U+201C
    DoubleLowRight = 3,        ///< U+201E U+201D
    DoubleAngleRightRight = 4, ///< U+00BB U+00BB
    DoubleRightRight = 5,      ///< U+201D U+201D
    DoubleReversedRight = 6,   ///< U+201F U+201D
    DoubleAngleRightLeft = 7,  ///< U+00BB U+00AB
    DoubleAngleLeftRight = 8,  ///< U+00AB U+00BB
    DoubleCornerBracket = 9    ///< U+300C U+300D
};

/// The styles of single quotation marks. The numbers may be stored; they do not match those of the double
/// styles.
enum SingleQuoteType {
    SingleLeftRight = 0,          ///< U+2018 U+2019
    SingleAscii = 1,              ///< U+0027 U+0027
    SingleLowLeft = 2,            ///< U+201A U+2018
    SingleLowRight = 3,           ///< U+201A U+2019
    SingleRightRight = 4,         ///< U+2019 U+2019
    SingleReversedLow = 5,        ///< U+201B U+201A
    SingleAngleRightLeft = 6,     ///< U+203A U+2039
    SingleAngleLeftRight = 7,     ///< U+2039 U+203A
    SingleAngleRightRight = 8,    ///< U+203A U+203A
    SingleGraveAcute = 9,         ///< U+0060 U+00B4
    SingleWhiteCornerBracket = 10 ///< U+300E U+300F
};

/// What Qt's hash functions return: `uint` in Qt 5, `size_t` since Qt 6.
using HashValue = decltype(::qHash(0));

/// The hash of a style is its number, whatever the seed: Qt's hash tables then visit the styles in ascending
/// order, the same in every process.
inline HashValue qHash(DoubleQuoteType type, HashValue = 0) noexcept
{
    return static_cast<HashValue>(type);
}

/// The same for the single styles.
inline HashValue qHash(SingleQuoteType type, HashValue = 0) noexcept
{
    return static_cast<HashValue>(type);
}

/// \name Styles
/// \{

/// U+0022.
TESCORE_EXPORT QChar asciiDoubleQuote();

/// U+0027.
TESCORE_EXPORT QChar asciiSingleQuote();

/// The pairs of all double styles, visited in ascending order.
TESCORE_EXPORT const QHash<DoubleQuoteType, QPair<QChar, QChar>> &doubleQuotes();

/// The pairs of all single styles, visited in ascending order.
TESCORE_EXPORT const QHash<SingleQuoteType, QPair<QChar, QChar>> &singleQuotes();

/// The double pair of the locale's language; its country does not matter.
///
///     German                    => DoubleLowLeft
///     French, SwissGerman       => DoubleAngleLeftRight
///     Chinese, Japanese, Korean => DoubleCornerBracket
///     any other                 => DoubleLeftRight
TESCORE_EXPORT QPair<QChar, QChar> doubleQuotes(const QLocale &locale);

/// The single pair of the locale's language; its country does not matter.
///
///     German                    => SingleLowLeft
///     French, SwissGerman       => SingleAngleLeftRight
///     Chinese, Japanese, Korean => SingleWhiteCornerBracket
///     any other                 => SingleLeftRight
TESCORE_EXPORT QPair<QChar, QChar> singleQuotes(const QLocale &locale);

/// The languages recorded for a style: none, for every style.
TESCORE_EXPORT QList<QLocale::Language> languages(DoubleQuoteType type);

/// The same for the single styles.
TESCORE_EXPORT QList<QLocale::Language> languages(SingleQuoteType type);

/// \}
/// \name Marks
/// \{

/// The opening marks of all double styles.
TESCORE_EXPORT QSet<QChar> startingDoubleQuotes();

/// The closing marks of all double styles.
TESCORE_EXPORT QSet<QChar> closingDoubleQuotes();

/// All marks of the double styles.
TESCORE_EXPORT QSet<QChar> doubleQuotesAll();

/// The opening marks of all single styles.
TESCORE_EXPORT QSet<QChar> startingSingleQuotes();

/// The closing marks of all single styles.
TESCORE_EXPORT QSet<QChar> closingSingleQuotes();

/// All marks of the single styles.
TESCORE_EXPORT QSet<QChar> singleQuotesAll();

/// A regular expression for one double mark: a character class that holds U+0022 and then all of
/// doubleQuotesAll(), in the order of that set.
TESCORE_EXPORT QString doubleQuotesSearchPattern();

/// A regular expression for one single mark: a character class that holds U+0027 and then all of
/// singleQuotesAll(), in the order of that set.
TESCORE_EXPORT QString singleQuotesSearchPattern();

/// Whether `c` opens in any style, double or single.
TESCORE_EXPORT bool isOpenQuote(const QChar &c);

/// Whether `c` closes in any style, double or single.
TESCORE_EXPORT bool isCloseQuote(const QChar &c);

/// `text` with both marks of `doubleQuotePair` replaced by U+0022 and both marks of `singleQuotePair` by
/// U+0027; a mark of both pairs becomes U+0022. `replaced` (may be null) tells whether `text` held any of the
/// marks, the plain ones included. A text without marks is returned as it is, without a copy.
TESCORE_EXPORT QString simplifyQuotes(const QString &text, const QPair<QChar, QChar> &singleQuotePair,
                                      const QPair<QChar, QChar> &doubleQuotePair, bool *replaced = nullptr);

/// \}

} // namespace TESQuote

#endif
