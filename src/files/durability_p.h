#ifndef TESCORE_DURABILITY_P_H
#define TESCORE_DURABILITY_P_H

#include "openfile_p.h"

namespace TesCoreFiles {

/// Makes what was changed in one file system durable, contents and names together. To be made before the
/// first change: an error of writing back is then told here even when somebody else's sync has met it
/// meanwhile.
///
/// One syncfs() after the last name was given, before the first source goes, is the order that was seen to
/// keep content through a power cut on ext2, ext3, ext4, XFS, btrfs, f2fs, FAT and minix alike (docs/
/// reliability.md). A file that is synced before it has its name is lost on half of them.
class Durability
{
public:
    /// For the file system of the open folder `dirfd`.
    explicit Durability(int dirfd);

    Result result() const { return m_onIt.result(); }

    /// Whether the file system is served by somebody whom syncfs() does not reach: there each file is synced
    /// before it is closed, and each folder when it is complete.
    bool isPerEntry() const { return m_isPerEntry; }

    /// Waits until everything written to the file system, and the names in the folder `dirfd`, are on the
    /// disk.
    Result sync(int dirfd) const;

private:
    Descriptor m_onIt;
    bool m_isPerEntry;
};

/// Waits until a file is on the disk, or the names in a folder are where the file system can tell.
Result syncFile(int fd);
Result syncFolder(int dirfd);

} // namespace TesCoreFiles

#endif
