#include <TesCore/TCoreType.h>

#include <algorithm>
#include <iterator>

namespace {

struct HorizontalFlag
{
    const char *name;
    Qt::AlignmentFlag flag;
};

// In order of precedence; the first also stands for an alignment with no horizontal flag.
constexpr HorizontalFlag horizontalFlags[] = {
    {"Left", Qt::AlignLeft},
    {"Right", Qt::AlignRight},
    {"Center", Qt::AlignHCenter},
    {"Justify", Qt::AlignJustify},
};

const HorizontalFlag &decidingFlag(Qt::Alignment alignment)
{
    const auto *const found = std::find_if(std::begin(horizontalFlags), std::end(horizontalFlags),
                                           [=](const auto &each) { return alignment.testFlag(each.flag); });
    return found == std::end(horizontalFlags) ? horizontalFlags[0] : *found;
}

} // namespace

namespace TCoreType {

Qt::Alignment toAlignment(const QString &text, Qt::Alignment defaultAlignment)
{
    for (const HorizontalFlag &each : horizontalFlags) {
        if (text == QLatin1String(each.name))
            return each.flag;
    }
    return defaultAlignment;
}

QString toString(Qt::Alignment alignment)
{
    return QLatin1String(decidingFlag(alignment).name);
}

Qt::Alignment simplifyAlignment(Qt::Alignment alignment)
{
    return decidingFlag(alignment).flag;
}

} // namespace TCoreType
