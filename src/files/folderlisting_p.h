#ifndef TESCORE_FOLDERLISTING_P_H
#define TESCORE_FOLDERLISTING_P_H

#include <QDir>

#include <cstddef>
#include <vector>

namespace TesCoreFiles {

/// What an entry is once links are followed.
enum class EntryKind : unsigned char { File, Folder, Other };

struct FolderEntry
{
    std::size_t name; // where the zero-terminated name starts in its listing
    quint64 sortKey;  // the first eight bytes of the name, ASCII letters in lower case
    EntryKind kind;
    bool isLink;
};

enum class Order { None, ByName };

/// The visible entries of one folder, as QDir lists them without QDir::Hidden and QDir::System: no name with
/// a leading ".", no FIFO, socket or device, no link whose target cannot be reached. Names are the bytes on
/// the disk.
class FolderListing
{
public:
    /// Reads the open folder `fd` from where its offset stands. False, and errno set, when it could not be
    /// read to its end: what is left out then is unknown, so the listing must not be used.
    bool read(int fd, Order order);

    /// Puts the entries into the order that a QDir with these sort flags gives the folder `fd`; entries that
    /// Qt does not show follow by name.
    void sortAs(QDir::SortFlags flags, int fd);

    /// Whether every entry could be looked at. One for which it could not be found out what it is, or leads
    /// to, is left out.
    bool isComplete() const { return m_isComplete; }

    std::size_t size() const { return m_entries.size(); }
    const FolderEntry &at(std::size_t index) const { return m_entries[index]; }
    const char *nameOf(const FolderEntry &entry) const { return m_names.data() + entry.name; }

private:
    void add(int fd, const char *name, unsigned char type);
    void sortByName();

    std::vector<FolderEntry> m_entries;
    std::vector<char> m_names;
    bool m_isComplete = true;
};

} // namespace TesCoreFiles

#endif
