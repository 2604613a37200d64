#ifndef TESCORE_CHARSEARCH_P_H
#define TESCORE_CHARSEARCH_P_H

#include <QString>
#include <QStringView>

#include <algorithm>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace TesCoreText {

using Size = QString::size_type; // int in Qt 5, qsizetype since Qt 6

/// The index of the first `c` in `text` from `begin` on, or the size of `text`. Inline: the pieces of a text
/// that are searched one by one are rarely long enough for the call of Qt's search to pay.
inline Size indexOf(QChar c, QStringView text, Size begin)
{
    const Size end = static_cast<Size>(text.size());
#ifdef __SSE2__
    const __m128i wanted = _mm_set1_epi16(static_cast<short>(c.unicode()));
    for (; end - begin >= 8; begin += 8) {
        const auto *eight = reinterpret_cast<const __m128i *>(text.data() + begin);
        const int hits = _mm_movemask_epi8(_mm_cmpeq_epi16(_mm_loadu_si128(eight), wanted));
        if (hits != 0)
            return begin + __builtin_ctz(static_cast<unsigned>(hits)) / 2;
    }
#endif
    return static_cast<Size>(std::find(text.begin() + begin, text.end(), c) - text.begin());
}

} // namespace TesCoreText

#endif
