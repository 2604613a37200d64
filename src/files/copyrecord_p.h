#ifndef TESCORE_COPYRECORD_P_H
#define TESCORE_COPYRECORD_P_H

#include "place_p.h"

#include <vector>

namespace TesCoreFiles {

class TreeWalk;

/// What a copy took from a tree, in the order of its walk, so that a move deletes exactly this and nothing
/// that changed or appeared meanwhile. What was reached through a link is left out: the link goes, not what
/// is behind it.
class CopyRecord
{
public:
    /// Notes the folder, or the link to one, that `walk` is about to enter. False, and errno set, when it is
    /// gone.
    bool entering(const TreeWalk &walk);
    void left();
    /// Notes the entry on which `walk` stands; `content` is what was copied. False, and errno set, when it is
    /// gone.
    bool copied(const TreeWalk &walk, const Snapshot &content);

    /// Deletes from the folder `root`, and then the folder, what was noted and is still as it was. Stops at
    /// the first entry that is not, or cannot be removed: false, and errno set.
    bool deleteFrom(const Place &root, const FileId &rootId) const;

private:
    enum class Step : unsigned char { Remove, Enter, Leave };
    struct Note
    {
        Step step;
        std::size_t name; // where the zero-terminated name starts in m_names
        Snapshot seen;
    };

    void add(Step step, const char *name, const Snapshot &seen);

    std::vector<Note> m_notes;
    std::vector<char> m_names;
    int m_foldersBehindLink = 0;
};

} // namespace TesCoreFiles

#endif
