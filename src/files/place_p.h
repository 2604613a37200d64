#ifndef TESCORE_PLACE_P_H
#define TESCORE_PLACE_P_H

#include <base/descriptor_p.h>

#include <QByteArray>

#include <fcntl.h>
#include <sys/stat.h>

namespace TesCoreFiles {

using namespace TesCoreBase;

/// A path in the shape that the *at system calls take. One that is longer than the kernel accepts is walked
/// to its last stretch, so that entries at any depth can be named.
class Place
{
public:
    explicit Place(const QByteArray &path);

    int folder() const { return m_folder.isOpen() ? m_folder.get() : AT_FDCWD; }
    const char *name() const { return m_name.constData(); }

    /// What is there, links followed. False, and errno set, when that cannot be told.
    bool status(struct stat *info) const { return isReached() && ::fstatat(folder(), name(), info, 0) == 0; }
    /// What is there, a link standing for itself.
    bool ownStatus(struct stat *info) const
    {
        return isReached() && ::fstatat(folder(), name(), info, AT_SYMLINK_NOFOLLOW) == 0;
    }
    /// Whether the last stretch was reached. False, and errno set, when it could not be found out what is
    /// there.
    bool isReached() const
    {
        if (m_error != 0)
            errno = m_error;
        return m_error == 0;
    }

private:
    Descriptor m_folder;
    QByteArray m_name;
    int m_error = 0;
};

/// A path taken apart into the folder that holds its entry, open for look-up, and the entry's name (with the
/// slashes that may follow it, so that the kernel refuses them where only a folder may have them).
struct Entry
{
    explicit Entry(const QByteArray &path);

    Descriptor folder; // not open, and errno set, when there is no such folder
    QByteArray name;

    int folderFd() const { return folder.get(); }
    const char *nameData() const { return name.constData(); }
};

/// Opens a file, not waiting for what blocks by nature, such as the other end of a FIFO. It waits for those
/// who hold a lease on a regular file, as file servers do: the kernel makes them give it up in time. Not
/// open, and errno set, after a failure.
Descriptor openFile(int folder, const char *name, int flags);

/// Whether an error number says that nothing is there, rather than that it could not be found out.
bool meansMissing(int errorNumber);

/// `path` without what follows its last real name: "link/", "link/." and "link" name the same entry, which is
/// the link. A path that ends in ".." (or is ".") names no entry; it is resolved.
QByteArray entryPath(const QByteArray &path);

/// The path that a link leads to in one step; a null array (and errno set) when `path` is no link.
QByteArray linkTarget(const QByteArray &path);

/// Creates the folder `path` and every missing parent. True when the folder is there afterwards.
bool makeFolders(const QByteArray &path, mode_t mode);

/// Which entry of which file system.
struct FileId
{
    dev_t device = 0;
    ino_t inode = 0;

    FileId() = default;
    explicit FileId(const struct stat &info) : device(info.st_dev), inode(info.st_ino) {}
    friend bool operator==(const FileId &a, const FileId &b)
    {
        return a.device == b.device && a.inode == b.inode;
    }
};

/// What tells whether an entry is still the one that was seen: the same inode with the same content.
struct Snapshot
{
    FileId id;
    off_t size = 0;
    timespec modified = {};

    Snapshot() = default;
    explicit Snapshot(const struct stat &info) : id(info), size(info.st_size), modified(info.st_mtim) {}
    friend bool operator==(const Snapshot &a, const Snapshot &b)
    {
        return a.id == b.id && a.size == b.size && a.modified.tv_sec == b.modified.tv_sec &&
               a.modified.tv_nsec == b.modified.tv_nsec;
    }
};

/// The folder `path`, or the nearest ancestor of it that exists. Not open when that cannot be found out.
Descriptor openNearestExisting(QByteArray path);

/// Whether the open folder is `id` or has it above itself. True too when that cannot be found out: what must
/// not happen inside must not happen then.
bool isInside(const Descriptor &folder, const FileId &id);

/// Whether a place and an open folder are on one mount: what is mounted twice has different folders above it.
/// False too when that cannot be found out.
bool areOnOneMount(const Place &place, const Descriptor &folder);

} // namespace TesCoreFiles

#endif
