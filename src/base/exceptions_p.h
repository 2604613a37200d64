#ifndef TESCORE_EXCEPTIONS_P_H
#define TESCORE_EXCEPTIONS_P_H

#include <exception>

namespace TesCoreBase {

/// What `work` returns, or a default value of that type where it throws, as it does when the memory is
/// used up: false, a null text, no list. No exception leaves a public function; what ends a cancelled
/// thread is none and passes.
template <typename Work>
auto orFailure(Work work) -> decltype(work())
{
    try {
        return work();
    } catch (const std::exception &) {
        return decltype(work())();
    }
}

} // namespace TesCoreBase

#endif
