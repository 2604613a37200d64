#ifndef TESCORE_LIMITS_P_H
#define TESCORE_LIMITS_P_H

#include <QtGlobal>

#include <limits>

namespace TesCoreBase {

/// The type in which Qt's containers count: int in Qt 5, qsizetype in Qt 6.
template <typename Container>
using SizeOf = typename Container::size_type;

/// The most elements that a container can hold. Qt 5 counts bytes in an int, those of its own header
/// included.
template <typename Container>
constexpr qint64 maxSize()
{
    return (std::numeric_limits<SizeOf<Container>>::max() - 64) /
           qint64(sizeof(typename Container::value_type));
}

} // namespace TesCoreBase

#endif
