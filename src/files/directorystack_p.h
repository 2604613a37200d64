#ifndef TESCORE_DIRECTORYSTACK_P_H
#define TESCORE_DIRECTORYSTACK_P_H

#include "fileid_p.h"
#include "path_p.h"

#include <unordered_set>
#include <vector>

namespace TesCoreFiles {

enum class Links { Follow, NoFollow };

/// What the folders of a stack are opened for: to be listed, or only to make and remove entries in them,
/// which takes no permission to read.
enum class Access { List, Fill };

/// Opens a folder. Links::NoFollow fails on a link, so that nobody can lead a walk elsewhere by swapping a
/// folder for a link.
Descriptor openFolder(At folder, Links links, Access access);

/// The folders from the root of a walk down to where it stands. Only the root and the deepest few are held
/// open, so that a tree of any depth needs a bounded number of descriptors; a folder that was closed is
/// opened again on the way up, and is used only when it is still the same one.
class DirectoryStack
{
public:
    explicit DirectoryStack(Access access) : m_access(access) {}

    Result open(At root, Links links);

    /// Goes down into the folder `name`; ELOOP when a stack that lists is inside it already.
    Result enter(const char *name, Links links);

    /// Goes back up; a failure when the folder above is no longer where it was.
    Result leave();

    int dirfd() const { return m_levels.back().dirfd.get(); }
    int rootDirfd() const { return m_levels.front().dirfd.get(); }
    /// What the folders were when they were opened.
    const struct stat &status() const { return m_levels.back().status; }
    const struct stat &rootStatus() const { return m_levels.front().status; }
    /// The name under which the deepest folder was entered; empty for the root.
    const QByteArray &name() const { return m_levels.back().name; }
    bool isOpen() const { return !m_levels.empty(); }

    /// Makes enter() refuse what `other` is inside as well. It must live as long.
    void exclude(const DirectoryStack &other) { m_excluded = &other; }

private:
    struct Level
    {
        Descriptor dirfd;
        struct stat status;
        QByteArray name;
        Links links;
    };
    struct HashId
    {
        std::size_t operator()(const FileId &id) const { return std::size_t(id.inode ^ (id.device << 20)); }
    };

    Result push(Descriptor folder, const char *name, Links links);
    bool contains(const FileId &id) const { return m_inside.count(id) > 0; }
    Descriptor reopenFromRoot() const;

    const Access m_access;
    std::vector<Level> m_levels;
    std::unordered_multiset<FileId, HashId> m_inside;
    const DirectoryStack *m_excluded = nullptr;
};

} // namespace TesCoreFiles

#endif
