#ifndef TESCORE_QUOTETABLES_P_H
#define TESCORE_QUOTETABLES_P_H

#include <TesCore/TESQuote.h>

namespace TesCoreText {

constexpr char16_t asciiDouble = u'"';
constexpr char16_t asciiSingle = u'\'';

/// One style and its marks.
template <typename Type>
struct QuoteStyle
{
    Type type;
    char16_t opening;
    char16_t closing;
};

// Everything about quotes derives from these two tables. Each row stands at the number of its style.
inline constexpr QuoteStyle<TESQuote::DoubleQuoteType> doubleStyles[] = {
    {TESQuote::DoubleLeftRight, 0x201C, 0x201D},       {TESQuote::DoubleAscii, asciiDouble, asciiDouble},
    {TESQuote::DoubleLowLeft, 0x201E, 0x201C},         {TESQuote::DoubleLowRight, 0x201E, 0x201D},
    {TESQuote::DoubleAngleRightRight, 0x00BB, 0x00BB}, {TESQuote::DoubleRightRight, 0x201D, 0x201D},
    {TESQuote::DoubleReversedRight, 0x201F, 0x201D},   {TESQuote::DoubleAngleRightLeft, 0x00BB, 0x00AB},
    {TESQuote::DoubleAngleLeftRight, 0x00AB, 0x00BB},  {TESQuote::DoubleCornerBracket, 0x300C, 0x300D},
};

inline constexpr QuoteStyle<TESQuote::SingleQuoteType> singleStyles[] = {
    {TESQuote::SingleLeftRight, 0x2018, 0x2019},
    {TESQuote::SingleAscii, asciiSingle, asciiSingle},
    {TESQuote::SingleLowLeft, 0x201A, 0x2018},
    {TESQuote::SingleLowRight, 0x201A, 0x2019},
    {TESQuote::SingleRightRight, 0x2019, 0x2019},
    {TESQuote::SingleReversedLow, 0x201B, 0x201A},
    {TESQuote::SingleAngleRightLeft, 0x203A, 0x2039},
    {TESQuote::SingleAngleLeftRight, 0x2039, 0x203A},
    {TESQuote::SingleAngleRightRight, 0x203A, 0x203A},
    {TESQuote::SingleGraveAcute, 0x0060, 0x00B4},
    {TESQuote::SingleWhiteCornerBracket, 0x300E, 0x300F},
};

template <typename Styles>
constexpr bool standAtTheirNumbers(const Styles &styles)
{
    int number = 0;
    for (const auto &style : styles) {
        if (style.type != number++)
            return false;
    }
    return true;
}
static_assert(standAtTheirNumbers(doubleStyles) && standAtTheirNumbers(singleStyles));

} // namespace TesCoreText

#endif
