#ifndef TESCORE_TREEWALK_P_H
#define TESCORE_TREEWALK_P_H

#include "folderchain_p.h"
#include "folderlisting_p.h"

namespace TesCoreFiles {

/// Visits the visible entries of a folder tree, depth-first, without recursion:
///
///     TreeWalk walk(Order::ByName);
///     if (walk.open(place, Links::Refuse))
///         while (walk.next()) {
///             if (walk.atFolderEnd()) ...      // back in the parent of folder walk.name()
///             else if (walk.isFolder()) walk.enter();
///         }
///
/// Every folder is listed whole when it is entered, so what the caller does to its entries does not disturb
/// the walk.
class TreeWalk
{
public:
    explicit TreeWalk(Order order) : m_order(order) {}

    /// Entries come as a QDir with these sort flags lists them. To be called before open().
    void sortAs(QDir::SortFlags flags) { m_flags = flags; }
    /// The walk does not enter the folders in which the chain `filled` stands, as if it were inside them.
    void keepOutOf(const FolderChain &filled) { m_chain.keepOutOf(filled); }

    /// Starts in the folder `place`. False, and errno set, when it cannot be opened and listed.
    bool open(const Place &place, Links links);

    /// Goes to the next entry, or to the end of a folder that was entered. False after the last; failed()
    /// tells whether that was not the end of the tree, or entries were left out because it could not be found
    /// out what they are.
    bool next();
    bool failed() const { return m_failed || m_isIncomplete; }

    /// Whether the walk has just come back from the folder name(), having visited all of it.
    bool atFolderEnd() const { return m_atFolderEnd; }

    const char *name() const { return m_name; }
    bool isFolder() const { return m_entry.kind == EntryKind::Folder; }
    bool isFile() const { return m_entry.kind == EntryKind::File; }
    bool isLink() const { return m_entry.isLink; }

    /// Goes down into the current entry; a link only if it was listed as one. False, and errno set, when that
    /// cannot be opened and listed, or leads into a folder that the walk is inside already (ELOOP); the walk
    /// goes on after it.
    bool enter();

    /// The open folder that holds the current entry.
    int fd() const { return m_chain.fd(); }
    int rootFd() const { return m_chain.rootFd(); }
    const FileId &rootId() const { return m_chain.rootId(); }
    const FileId &id() const { return m_chain.id(); }
    /// Whether the current entry was reached through a link below the root.
    bool isBehindLink() const { return m_linksInside > 0; }

private:
    struct Level
    {
        FolderListing listing;
        std::size_t next = 0;
        bool isLink = false;
    };

    bool list();
    bool leaveFolder();

    FolderChain m_chain{Access::List};
    std::vector<Level> m_levels; // only the first m_depth are in use; the others keep their memory
    std::size_t m_depth = 0;
    const Order m_order;
    QDir::SortFlags m_flags = QDir::Name | QDir::IgnoreCase;

    const char *m_name = nullptr;
    FolderEntry m_entry = {};
    QByteArray m_leftName;
    bool m_atFolderEnd = false;
    bool m_failed = false;
    bool m_isIncomplete = false;
    int m_linksInside = 0;
    int m_nestedLinks = 0;
};

} // namespace TesCoreFiles

#endif
