#include <TesCore/TESCoreUtil.h>

#include <QStringView>

#include <algorithm>

namespace TESCoreUtil {

bool Remove(QString *text, const QString &opening, const QString &closing)
{
    using Size = QString::size_type; // int in Qt 5, qsizetype since Qt 6
    if (!text || opening.isEmpty() || closing.isEmpty())
        return false;

    // At any time the text is what stands before `kept`, and what stands from `rest` on; between them is a
    // gap. No opening mark begins before `kept`.
    Size kept = 0;
    Size rest = 0;
    for (;;) {
        const QStringView view(*text);
        const auto begin = static_cast<Size>(view.indexOf(opening, rest));
        const auto end = begin < 0 ? -1 : static_cast<Size>(view.indexOf(closing, begin + 1));
        if (end < 0)
            break;
        QChar *const data = text->data();
        std::copy(data + rest, data + begin, data + kept);
        kept += begin - rest;
        rest = end + closing.size();

        // Parts of an opening mark may meet across the gap: what could be its beginning is searched again.
        QChar *const keptEnd = data + kept;
        QChar *const again =
            std::find(keptEnd - std::min(kept, opening.size() - 1), keptEnd, opening.front());
        std::copy_backward(again, keptEnd, data + rest);
        rest -= static_cast<Size>(keptEnd - again);
        kept -= static_cast<Size>(keptEnd - again);
    }
    if (rest == 0)
        return false;
    text->remove(kept, rest - kept);
    return true;
}

} // namespace TESCoreUtil
