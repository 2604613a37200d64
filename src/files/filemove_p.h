#ifndef TESCORE_FILEMOVE_P_H
#define TESCORE_FILEMOVE_P_H

#include "filecopy_p.h"

namespace TesCoreFiles {

/// A file of a move that has its place in the destination, and its old name still.
struct StagedFile
{
    bool isLinked = false; // both names are one file
    CopyStamps stamps;     // of one file where both are
};

/// Gives files a place in the destination of a move: a second name where that is possible, and a copy with
/// everything that a person sees where it is not. One object serves a whole walk: it remembers what the file
/// systems at hand can do.
class FileStage
{
public:
    explicit FileStage(const Durability &durability)
        : m_durability(durability), m_copier(Carry::Everything, &durability)
    {
    }

    /// Stages the file `from`, whose own status is `info`, as `to`, which must be free. `mayLink` tells that
    /// its old name can go, as far as that is known.
    Result stage(At from, const struct stat &info, bool mayLink, At to, StagedFile *staged);
    /// Stages the file `from` as a copy; `isListed` tells that a listing has just shown it as a regular file.
    Result stageCopy(At from, bool isListed, At to, StagedFile *staged);
    /// Makes two files of one that has a second name, of which `staged` is one.
    Result separate(At staged);

private:
    const Durability &m_durability;
    FileCopy m_copier;
    bool m_canLink = true;
};

/// What became of a source that was to be removed. Unknown: it may be there or not, so nothing may be undone.
enum class Removal { Done, Refused, Unknown };

/// Removes the old name of a staged file, as long as it is unchanged.
Removal removeSource(At from, const StagedFile &staged, At to);

/// Removes the new name of a staged file, whose source is known to be in its place.
void takeBack(At to, const StagedFile &staged);

enum class Existing { Keep, Replace };
/// What a move comes to whose source can be copied but not removed: a failure that leaves both as they were,
/// or two independent files.
enum class IfSourceStays { Fails, CopyIsEnough };

/// Moves the file `from`, links followed, to the name `to`, durably: it goes from its old name only when it
/// is complete and on the disk under the new one. A file that it replaces is there, as it was or as it is to
/// be, at any time.
Result moveFile(At from, At to, Existing existing, IfSourceStays ifSourceStays);

/// Puts `from`, which is no folder, in the place of the file `to` on the same file system.
Result renameOver(At from, At to);

} // namespace TesCoreFiles

#endif
