#include <TesCore/TESCoreUtil.h>

#include <iterator>

namespace TESCoreUtil {

namespace {

constexpr int firstSymbol = 0xA0;
constexpr int lastLetter = 0xFE;

// From U+00A0 on, eight codes to a line.
// clang-format off
constexpr char forms[][3] = {
    "\xA0\xA0", "!!", "c/", "l-", "ox", "y-", "||", "so",
    "\"\"", "co", "-a", "<<", "-,", "--", "ro", "^-",
    "^*", "+-", "^2", "^3", "\\\\", "/u", "P!", "^.",
    ",,", "^1", "_o", ">>", "14", "12", "34", "??",
    "A`", "A'", "A^", "A~", "A\"", "A*", "AE", "C,",
    "E`", "E'", "E^", "E\"", "I`", "I'", "I^", "I\"",
    "D-", "N~", "O`", "O'", "O^", "O~", "O\"", "xx",
    "O/", "U`", "U'", "U^", "U\"", "Y'", "P|", "ss",
    "a`", "a'", "a^", "a~", "a\"", "a*", "ae", "c,",
    "e`", "e'", "e^", "e\"", "i`", "i'", "i^", "i\"",
    "d-", "n~", "o`", "o'", "o^", "o~", "o\"", "-:",
    "o/", "u`", "u'", "u^", "u\"", "y'", "p|",
};
// clang-format on
static_assert(std::size(forms) == lastLetter - firstSymbol + 1);

} // namespace

QPair<char, char> decomposeUnicodeChar(const QChar &c)
{
    const int unit = c.unicode();
    if (unit < 0x80)
        return {char(unit), char(unit)};
    if (unit < firstSymbol || unit > lastLetter)
        return {'\0', '\0'};
    const char *form = forms[unit - firstSymbol];
    return {form[0], form[1]};
}

} // namespace TESCoreUtil
