#ifndef TESCORE_PATH_P_H
#define TESCORE_PATH_P_H

#include "at_p.h"

#include <base/descriptor_p.h>

#include <QByteArray>

#include <fcntl.h>

namespace TesCoreFiles {

using namespace TesCoreBase;

/// A path in the shape that the *at system calls take. One that is longer than the kernel accepts is walked
/// to its last stretch, so that entries at any depth can be named.
class Path
{
public:
    explicit Path(const QByteArray &path);

    /// Whether the last stretch was reached: if not, what is there is unknown.
    Result result() const { return m_result; }
    At at() const { return {m_dirfd.isOpen() ? m_dirfd.get() : AT_FDCWD, m_name.constData()}; }

    /// What is there, links followed.
    Result status(struct stat *info) const { return status(info, 0); }
    /// What is there, a link standing for itself.
    Result linkStatus(struct stat *info) const { return status(info, AT_SYMLINK_NOFOLLOW); }

private:
    Result status(struct stat *info, int flags) const;

    Descriptor m_dirfd;
    QByteArray m_name;
    Result m_result;
};

/// A path taken apart into the folder that holds its entry, open for look-up, and the entry's name (with the
/// slashes that may follow it, so that the kernel refuses them where only a folder may have them).
class Entry
{
public:
    explicit Entry(const QByteArray &path);

    /// Whether there is such a folder.
    Result result() const { return m_dirfd.result(); }
    At at() const { return {m_dirfd.get(), m_name.constData()}; }
    const QByteArray &name() const { return m_name; }

private:
    Descriptor m_dirfd;
    QByteArray m_name;
};

/// Whether a failure says that nothing is there, rather than that it is unknown what is.
bool meansMissing(Result failure);

/// `path` without what follows its last real name: "link/", "link/." and "link" name the same entry, which is
/// the link. A path that ends in ".." (or is ".") names no entry; it is resolved.
QByteArray entryPath(const QByteArray &path);

/// The path that a link leads to in one step; a null array when `path` is no link.
QByteArray linkTarget(const QByteArray &path);

/// The folder in which the last name of `path` stands.
QByteArray parentPath(const QByteArray &path);

/// `path` without the ".." that follow missing folders, with which it could only be reached once they are
/// made: "missing/../D" is "D".
QByteArray withoutMissingFolders(const QByteArray &path);

} // namespace TesCoreFiles

#endif
