#ifndef TESCORE_TARGETTREE_P_H
#define TESCORE_TARGETTREE_P_H

#include "attributes_p.h"
#include "durability_p.h"
#include "treewalk_p.h"

#include <vector>

namespace TesCoreFiles {

/// Creates the folder `path` and every missing parent; success when the folder is there afterwards.
Result makeFolders(const QByteArray &path, mode_t mode);

/// The folders that a copy or a move fills while a walk visits those of its source. A new folder gets what
/// Carry says of its original (a copy: less the umask), and the owner's permissions while it is filled.
class TargetTree
{
public:
    explicit TargetTree(Carry carry) : m_carry(carry) {}

    /// Opens the folder `path`, made with its missing parents where it does not exist, to fill it with what
    /// is in the folder `original`, open for reading.
    Result open(const QByteArray &path, int original);
    bool isOpen() const { return m_stack.isOpen(); }

    /// Makes the folder on which `walk` stands.
    Result make(const TreeWalk &walk);
    /// Takes `walk` and this one level down. Neither moves where one of them cannot.
    Result enter(TreeWalk &walk, Links links);
    /// Comes back from the folder that `walk` has left.
    Result leave(const TreeWalk &walk);
    /// Completes the folder in which it started. A failure, too, when another could not be completed.
    Result finish(int original);

    int dirfd() const { return m_stack.dirfd(); }
    int rootDirfd() const { return m_stack.rootDirfd(); }
    const DirectoryStack &stack() const { return m_stack; }
    /// Where each folder must be synced by itself, it is when it is complete.
    void setDurability(const Durability *durability) { m_durability = durability; }

private:
    void complete(int original);

    const Carry m_carry;
    const Durability *m_durability = nullptr;
    DirectoryStack m_stack{Access::Fill};
    std::vector<bool> m_isNew; // for each depth of the walk
    bool m_isNextNew = false;
    int m_newParents = 0;
    Result m_completed;
};

} // namespace TesCoreFiles

#endif
