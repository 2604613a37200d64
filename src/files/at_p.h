#ifndef TESCORE_AT_P_H
#define TESCORE_AT_P_H

#include <sys/stat.h>

namespace TesCoreFiles {

/// A name in an open folder, as the *at system calls take it. Both outlive the value.
struct At
{
    int dirfd;
    const char *name;
};

} // namespace TesCoreFiles

#endif
