#ifndef TESCORE_KILLPROCESSTREE_P_H
#define TESCORE_KILLPROCESSTREE_P_H

#include <sys/types.h>

namespace TesCoreProcess {

/// Asks the process `leader`, which leads a group and is not waited for yet, to end, and kills it at once
/// with its group and all its descendants. What had left both the group and the family before, and what runs
/// as another user, is out of reach.
///
/// Each process gets up to 100 ms, twice, to stop (one that sleeps in the kernel does not): so this takes 200
/// ms for each process in the worst case, and well below a millisecond for one that is not stuck.
void killProcessTree(pid_t leader);

} // namespace TesCoreProcess

#endif
