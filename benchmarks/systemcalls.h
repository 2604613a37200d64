#ifndef TESCORE_BENCHMARKS_SYSTEMCALLS_H
#define TESCORE_BENCHMARKS_SYSTEMCALLS_H

#include <functional>

/// How many system calls `job` makes, those of the programs that it starts included. It runs in a child
/// process. -1 where tracing is not allowed.
long countSystemCalls(const std::function<void()> &job);

#endif
