#ifndef TESCORE_BENCHMARKS_RESOURCES_H
#define TESCORE_BENCHMARKS_RESOURCES_H

#include <functional>

/// How many system calls `job` makes, those of the programs that it starts included. It runs in a child
/// process. -1 where tracing is not allowed.
long countSystemCalls(const std::function<void()> &job);

/// Measures by how much the memory of this process grows at most, from the making of the object on.
class PeakMemory
{
public:
    PeakMemory();
    long added() const; // bytes

private:
    const long m_before;
};

#endif
