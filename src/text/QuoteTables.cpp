#include <TesCore/TESQuote.h>

#include "quotetables_p.h"

namespace TESQuote {

using namespace TesCoreText;

namespace {

using Pair = QPair<QChar, QChar>;

template <typename Type>
Pair pairOf(const QuoteStyle<Type> &style)
{
    return {QChar(style.opening), QChar(style.closing)};
}

template <typename Type, size_t Count>
QHash<Type, Pair> tableOf(const QuoteStyle<Type> (&styles)[Count])
{
    QHash<Type, Pair> table;
    for (const auto &style : styles)
        table.insert(style.type, pairOf(style));
    return table;
}

struct LanguageStyles
{
    QLocale::Language language;
    DoubleQuoteType doubleType;
    SingleQuoteType singleType;
};

constexpr LanguageStyles otherLanguages = {QLocale::AnyLanguage, DoubleLeftRight, SingleLeftRight};
constexpr LanguageStyles stylesByLanguage[] = {
    {QLocale::English, DoubleLeftRight, SingleLeftRight},
    {QLocale::German, DoubleLowLeft, SingleLowLeft},
    {QLocale::French, DoubleAngleLeftRight, SingleAngleLeftRight},
    {QLocale::SwissGerman, DoubleAngleLeftRight, SingleAngleLeftRight},
    {QLocale::Chinese, DoubleCornerBracket, SingleWhiteCornerBracket},
    {QLocale::Japanese, DoubleCornerBracket, SingleWhiteCornerBracket},
    {QLocale::Korean, DoubleCornerBracket, SingleWhiteCornerBracket},
};

const LanguageStyles &stylesFor(const QLocale &locale)
{
    for (const LanguageStyles &styles : stylesByLanguage) {
        if (styles.language == locale.language())
            return styles;
    }
    return otherLanguages;
}

} // namespace

QChar asciiDoubleQuote()
{
    return QChar(asciiDouble);
}

QChar asciiSingleQuote()
{
    return QChar(asciiSingle);
}

const QHash<DoubleQuoteType, Pair> &doubleQuotes()
{
    static const auto table = tableOf(doubleStyles);
    return table;
}

const QHash<SingleQuoteType, Pair> &singleQuotes()
{
    static const auto table = tableOf(singleStyles);
    return table;
}

Pair doubleQuotes(const QLocale &locale)
{
    return pairOf(doubleStyles[stylesFor(locale).doubleType]);
}

Pair singleQuotes(const QLocale &locale)
{
    return pairOf(singleStyles[stylesFor(locale).singleType]);
}

QList<QLocale::Language> languages(DoubleQuoteType)
{
    return {};
}

QList<QLocale::Language> languages(SingleQuoteType)
{
    return {};
}

} // namespace TESQuote
