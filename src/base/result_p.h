#ifndef TESCORE_RESULT_P_H
#define TESCORE_RESULT_P_H

#include <cerrno>

namespace TesCoreBase {

/// Success, or the error number of the call that failed. errno is read where that call is made, so that
/// nothing in between can change it.
class [[nodiscard]] Result
{
public:
    constexpr Result() = default;
    constexpr explicit Result(int error) : m_error(error) {}

    /// What a system call returned: -1 stands for the failure that errno tells.
    static Result of(long long returned) { return returned == -1 ? Result(errno) : Result(); }

    constexpr explicit operator bool() const { return m_error == 0; }
    constexpr int error() const { return m_error; }

private:
    int m_error = 0;
};

} // namespace TesCoreBase

#endif
