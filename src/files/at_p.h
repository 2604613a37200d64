#ifndef TESCORE_AT_P_H
#define TESCORE_AT_P_H

#include <base/result_p.h>

#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace TesCoreFiles {

using namespace TesCoreBase;

/// A name in an open folder, as the *at system calls take it. Both outlive the value.
struct At
{
    int dirfd;
    const char *name;
};

/// What stands under a name, links followed.
inline Result status(At entry, struct stat *info)
{
    return Result::of(::fstatat(entry.dirfd, entry.name, info, 0));
}

/// What stands under a name, a link standing for itself.
inline Result linkStatus(At entry, struct stat *info)
{
    return Result::of(::fstatat(entry.dirfd, entry.name, info, AT_SYMLINK_NOFOLLOW));
}

/// Whether the process may do what `mode` says (access(2)) with an entry, links followed.
inline Result access(At entry, int mode)
{
    const Result allowed = Result::of(::faccessat(entry.dirfd, entry.name, mode, AT_EACCESS));
    // Containers that do not know the newer system call refuse it; the older one asks for the real user.
    return allowed.error() == EPERM ? Result::of(::faccessat(entry.dirfd, entry.name, mode, 0)) : allowed;
}

inline Result unlink(At entry, int flags = 0)
{
    return Result::of(::unlinkat(entry.dirfd, entry.name, flags));
}

/// Gives a file a second name, a link standing for itself.
inline Result link(At file, At name)
{
    return Result::of(::linkat(file.dirfd, file.name, name.dirfd, name.name, 0));
}

/// Renames within a file system; an existing file at `to` is replaced.
inline Result rename(At from, At to)
{
    return Result::of(::renameat(from.dirfd, from.name, to.dirfd, to.name));
}

inline Result makeFolder(At folder, mode_t mode)
{
    return Result::of(::mkdirat(folder.dirfd, folder.name, mode));
}

} // namespace TesCoreFiles

#endif
