#ifndef TESCORE_EXCEPTIONS_P_H
#define TESCORE_EXCEPTIONS_P_H

#include <exception>

namespace TesCoreBase {

/// What `work` returns, or `failure` where it throws, as it does when the memory is used up. Without
/// `failure` a default value of the type stands for it: false, a null text, no list. No exception leaves a
/// public function; what ends a cancelled thread is none and passes.
template <typename Work>
auto orFailure(Work work, decltype(work()) failure = {}) -> decltype(work())
{
    try {
        return work();
    } catch (const std::exception &) {
        return failure;
    }
}

} // namespace TesCoreBase

#endif
