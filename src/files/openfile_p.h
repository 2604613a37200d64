#ifndef TESCORE_OPENFILE_P_H
#define TESCORE_OPENFILE_P_H

#include "at_p.h"

#include <base/descriptor_p.h>

#include <QString>

namespace TesCoreFiles {

using namespace TesCoreBase;

/// Opens a file, not waiting for what blocks by nature, such as the other end of a FIFO. It waits for those
/// who hold a lease on a regular file, as file servers do: the kernel makes them give it up in time.
Descriptor openFile(At entry, int flags);

/// Makes a file in the open folder that has no name, and vanishes by itself unless it is given one; not every
/// file system can do that.
Descriptor openUnnamed(int dirfd, mode_t mode = S_IRUSR | S_IWUSR);

/// Opens the regular file `path`, or the resource, for reading. Nothing blocks: FIFOs, sockets and devices
/// are refused, and not even opened. After a failure `*error` (which may be null) is the text that QFile
/// gives for the same failure; after success `*size` (which may be null, too) is a first guess at what
/// reading will give: files of /proc say 0, and a file may be growing.
Descriptor openForReading(const QString &path, QString *error = nullptr, qint64 *size = nullptr);

/// The same for writing, to a regular file or to a character device such as a terminal or /dev/null, for
/// which writing then waits. `flags` says what is to happen to what is there: O_CREAT | O_TRUNC, O_CREAT |
/// O_EXCL, O_APPEND and so on.
Descriptor openForWriting(const QString &path, int flags, QString *error = nullptr);

} // namespace TesCoreFiles

#endif
