#ifndef TESCORE_ENUMVALUE_P_H
#define TESCORE_ENUMVALUE_P_H

#include <cstring>
#include <type_traits>

namespace TesCoreBase {

/// The number that an enumeration variable holds, as an unsigned one. It need not be an enumerator's: callers
/// pass on numbers that they read somewhere. It is copied as bytes because loading a value outside an
/// enumeration's range is undefined.
template <typename Enum>
unsigned enumValue(const Enum &value)
{
    static_assert(sizeof(Enum) <= sizeof(unsigned));
    std::make_unsigned_t<std::underlying_type_t<Enum>> number;
    std::memcpy(&number, &value, sizeof number);
    return number;
}

} // namespace TesCoreBase

#endif
