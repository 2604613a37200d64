#ifndef TESCORE_TREEWALK_P_H
#define TESCORE_TREEWALK_P_H

#include "directorylisting_p.h"
#include "directorystack_p.h"

namespace TesCoreFiles {

/// Visits the visible entries of a folder tree, depth-first, without recursion:
///
///     TreeWalk walk(Order::ByName);
///     if (walk.open(root, Links::NoFollow))
///         while (walk.next()) {
///             if (walk.atFolderEnd()) ...      // back in the parent of the folder that entry() names
///             else if (walk.isFolder()) walk.enter();
///         }
///
/// Every folder is listed whole when it is entered, so what the caller does to its entries does not disturb
/// the walk.
class TreeWalk
{
public:
    explicit TreeWalk(Order order, Keep keep = Keep::All) : m_order(order), m_keep(keep) {}

    /// Entries come as a QDir with these sort flags lists them. To be called before open().
    void sortAs(QDir::SortFlags flags) { m_flags = flags; }
    /// The walk does not enter the folders in which the stack `filled` stands, as if it were inside them.
    void exclude(const DirectoryStack &filled) { m_stack.exclude(filled); }

    /// Opens and lists the folder in which the walk starts.
    Result open(At root, Links links);

    /// Goes to the next entry, or to the end of a folder that was entered. False after the last; failed()
    /// tells whether that was not the end of the tree, or entries of unknown kind were left out.
    bool next();
    bool failed() const { return m_failed || m_isIncomplete; }

    /// How many visible entries Keep::Folders has kept from the walk up to here.
    std::size_t passedOver() const { return m_passedOver; }

    /// The entry on which the walk stands, in the open folder that holds it.
    At entry() const { return {dirfd(), m_levels[m_depth - 1].listing.nameOf(m_entry)}; }
    const char *name() const { return entry().name; }
    int dirfd() const { return m_stack.dirfd(); }
    int rootDirfd() const { return m_stack.rootDirfd(); }
    /// Whether the walk has just come back from the folder entry(), having visited all of it.
    bool atFolderEnd() const { return m_atFolderEnd; }
    bool isFolder() const { return m_entry.kind == EntryKind::Folder; }
    bool isFile() const { return m_entry.kind == EntryKind::File; }
    bool isLink() const { return m_entry.isLink; }

    /// Goes down into the folder entry(); through a link only if it was listed as one. After a failure (ELOOP
    /// for a folder that the walk is inside already) the walk goes on behind it.
    Result enter();

    /// How many folders below the root the walk stands.
    std::size_t depth() const { return m_depth - 1; }
    /// What the folder dirfd(), and the one in which the walk started, were when they were opened.
    const struct stat &folderStatus() const { return m_stack.status(); }
    const struct stat &rootStatus() const { return m_stack.rootStatus(); }
    /// Whether entry() was reached through a link below the root.
    bool isBehindLink() const { return m_linksInside > 0; }

private:
    struct Level
    {
        DirectoryListing listing;
        std::size_t next = 0;
        bool isLink = false;
    };

    Result list();

    DirectoryStack m_stack{Access::List};
    std::vector<Level> m_levels; // only the first m_depth are in use; the others keep their memory
    std::size_t m_depth = 0;
    std::size_t m_passedOver = 0;
    const Order m_order;
    const Keep m_keep;
    QDir::SortFlags m_flags = QDir::Name | QDir::IgnoreCase;

    ListedEntry m_entry = {};
    bool m_atFolderEnd = false;
    bool m_failed = false;
    bool m_isIncomplete = false;
    int m_linksInside = 0;
    int m_nestedLinks = 0;
};

} // namespace TesCoreFiles

#endif
