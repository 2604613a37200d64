#ifndef TESCORE_RENAME_P_H
#define TESCORE_RENAME_P_H

#include "at_p.h"

#include <base/result_p.h>

#include <QByteArray>

namespace TesCoreFiles {

using namespace TesCoreBase;

/// A name for what is not complete, or has to stand aside: hidden, and nobody else's.
QByteArray temporaryName();

/// Renames to a name that must not exist, within one file system (EXDEV otherwise).
Result renameExclusively(At from, At to);

/// Lets two entries of one file system change places. EINVAL where it cannot do that.
Result exchange(At a, At b);

/// Whether a link, rename or removal that failed in this way was certainly not done. The server of a file
/// system may have done what it then reports an error for, and what was done must not be undone by halves.
bool isCertainlyUndone(Result failure);

/// Whether the file system of an open folder is this machine's own: what is seen of it then is what there is.
bool isLocal(int dirfd);

/// Whether the file system writes a rename to the disk by halves, so that a power cut may leave neither name:
/// ext2, ext4 without a journal and minix, where a second name is safer, and FAT, where only a copy is.
bool renamesByHalves(int dirfd);

/// Whether a failure says that there is no room.
bool isFull(Result failure);

/// Whether a failure says that the file system, or a filter of system calls, has no such operation, so that
/// another way may lead on.
bool isUnsupported(Result failure);

/// Whether nothing that can be known beforehand forbids to remove or replace the entries of a folder, and one
/// of them, whose status is `info`.
bool mayRemoveFrom(int dirfd);
bool mayRemove(At entry, const struct stat &info);

} // namespace TesCoreFiles

#endif
