#include <TesCore/TCoreType.h>

#include <algorithm>
#include <cfloat>
#include <cmath>

// x87 registers keep more digits than the types have, which would decide close cases differently from build
// to build. 32-bit x86 is therefore compiled for SSE2 arithmetic (cmake/strict.cmake).
static_assert(FLT_EVAL_METHOD == 0, "the arithmetic must have exactly the precision of its types");

namespace {

// With a NaN on either side the difference is a NaN, and the comparison false.
template <typename Number>
bool isClose(Number a, Number b, Number tolerance)
{
    return std::abs(a - b) <= tolerance * std::min(std::abs(a), std::abs(b));
}

} // namespace

bool tesFuzzyCompare(float a, float b)
{
    return isClose(a, b, 0.00001F);
}

bool tesFuzzyCompare(double a, double b)
{
    return isClose(a + 1, b + 1, 0.000000000001);
}
