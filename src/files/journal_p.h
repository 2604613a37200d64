#ifndef TESCORE_JOURNAL_P_H
#define TESCORE_JOURNAL_P_H

#include "filemove_p.h"

#include <vector>

namespace TesCoreFiles {

class DirectoryStack;
class TreeWalk;

/// What a move staged, in the order of its walk, so that it removes exactly this and nothing that changed or
/// appeared meanwhile. What was reached through a link is left out: the link goes, not what is behind it.
class Journal
{
public:
    /// Notes that `walk` has gone into the folder, or the link to one, whose own status was `info`.
    void entered(const char *name, const struct stat &info);
    void left();
    /// Notes a file that is about to be staged. The reference is valid until the next is noted.
    StagedFile &staging(const char *name);

    /// Removes from the folder `source` what was noted and is still as it was, and then the folder. Stops at
    /// the first entry that is not, or cannot be removed.
    Result removeSources(At source, const FileId &sourceId, At target);

    /// Takes back the names in the folder `target` that were made for files of the source.
    void takeBackLinks(At target) const;
    /// Makes two files of each whose old name removeSources() did not remove.
    void separateLinks(At target, FileStage &stage) const;

private:
    enum class Step : unsigned char { File, Link, Enter, Leave };
    struct Note
    {
        Step step;
        std::size_t name; // where the zero-terminated name starts in m_names
        StagedFile staged;
    };

    void add(Step step, const char *name, const StagedFile &staged);
    const char *nameOf(const Note &note) const { return m_names.data() + note.name; }
    template <typename Action>
    void forEachLinked(At target, std::size_t first, Action action) const;

    std::vector<Note> m_notes;
    std::vector<char> m_names;
    int m_foldersBehindLink = 0;
    StagedFile m_behindLink;   // of no use: such files are not removed
    std::size_t m_removed = 0; // notes that are done with
};

} // namespace TesCoreFiles

#endif
