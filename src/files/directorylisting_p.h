#ifndef TESCORE_DIRECTORYLISTING_P_H
#define TESCORE_DIRECTORYLISTING_P_H

#include <base/result_p.h>

#include <QDir>

#include <cstddef>
#include <vector>

namespace TesCoreFiles {

using namespace TesCoreBase;

/// What an entry is once links are followed.
enum class EntryKind : unsigned char { File, Folder, Other };

struct ListedEntry
{
    std::size_t name; // where the zero-terminated name starts in its listing
    quint64 sortKey;  // the first eight bytes of the name, ASCII letters in lower case
    EntryKind kind;
    bool isLink;
};

enum class Order { None, ByName };

/// Which entries a listing keeps: a count, or a search for a folder, needs no names of files.
enum class Keep { All, Folders };

/// The visible entries of one folder, as QDir lists them without QDir::Hidden and QDir::System: no name with
/// a leading ".", no FIFO, socket or device, no link whose target cannot be reached. Names are the bytes on
/// the disk.
class DirectoryListing
{
public:
    /// Reads the open folder from where its offset stands. A failure midway leaves unknown what is missing,
    /// so that the listing must not be used.
    Result read(int dirfd, Order order, Keep keep);

    /// Puts the entries into the order that a QDir with these sort flags gives the open folder; entries that
    /// Qt does not show follow by name.
    void sortAs(QDir::SortFlags flags, int dirfd);

    /// Whether every entry could be looked at. One whose kind, or that of its target, stayed unknown is left
    /// out.
    bool isComplete() const { return m_isComplete; }

    /// How many visible entries there are beside those that are kept.
    std::size_t passedOver() const { return m_passedOver; }

    std::size_t size() const { return m_entries.size(); }
    const ListedEntry &at(std::size_t index) const { return m_entries[index]; }
    const char *nameOf(const ListedEntry &entry) const { return m_names.data() + entry.name; }

private:
    void add(int dirfd, const char *name, unsigned char type, Keep keep);
    void sortByName();

    std::vector<ListedEntry> m_entries;
    std::vector<char> m_names;
    std::size_t m_passedOver = 0;
    bool m_isComplete = true;
};

} // namespace TesCoreFiles

#endif
