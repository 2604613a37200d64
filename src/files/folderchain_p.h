#ifndef TESCORE_FOLDERCHAIN_P_H
#define TESCORE_FOLDERCHAIN_P_H

#include "place_p.h"

#include <unordered_set>
#include <vector>

namespace TesCoreFiles {

enum class Links { Follow, Refuse };

/// What the folders of a chain are opened for: to be listed, or only to make entries in them, which takes no
/// permission to read.
enum class Access { List, Fill };

/// Opens the folder `name` below the open folder `parent`. Links::Refuse fails on a link, so that nobody can
/// lead a walk elsewhere by swapping a folder for a link.
Descriptor openFolder(int parent, const char *name, Links links, Access access);

/// The folders from the root of a walk down to where it stands. Only the root and the deepest few are held
/// open, so that a tree of any depth needs a bounded number of descriptors; a folder that was closed is
/// opened again on the way up, and is used only when it is still the same one.
class FolderChain
{
public:
    explicit FolderChain(Access access) : m_access(access) {}

    /// Starts at `place`. False, and errno set, when it cannot be opened as a folder.
    bool open(const Place &place, Links links);

    /// Goes down into `name`. False, and errno set, when it cannot be opened; ELOOP when a chain that lists
    /// is inside it already.
    bool enter(const char *name, Links links);

    /// Goes back up. False, and errno set, when the folder above is no longer where it was.
    bool leave();

    int fd() const { return m_levels.back().folder.get(); }
    int rootFd() const { return m_levels.front().folder.get(); }
    const FileId &rootId() const { return m_levels.front().id; }
    const FileId &id() const { return m_levels.back().id; }
    /// The name under which the deepest folder was entered; empty for the root.
    const QByteArray &name() const { return m_levels.back().name; }

    /// Makes enter() refuse what `other` is inside as well. It must live as long.
    void keepOutOf(const FolderChain &other) { m_other = &other; }

private:
    struct Level
    {
        Descriptor folder;
        FileId id;
        QByteArray name;
        Links links;
    };
    struct HashId
    {
        std::size_t operator()(const FileId &id) const { return std::size_t(id.inode ^ (id.device << 20)); }
    };

    bool isInside(const FileId &id) const { return m_inside.count(id) > 0; }
    Descriptor reopenFromRoot() const;

    const Access m_access;
    std::vector<Level> m_levels;
    std::unordered_multiset<FileId, HashId> m_inside;
    const FolderChain *m_other = nullptr;
};

} // namespace TesCoreFiles

#endif
