#ifndef TESCORE_FILECOPY_P_H
#define TESCORE_FILECOPY_P_H

#include "place_p.h"

#include <memory>

namespace TesCoreFiles {

/// What a copy does about an entry that has the name already. Replace puts the complete copy in the place of
/// a file in one step.
enum class Existing { Keep, Replace };
/// ListedFile: a listing has just told that the entry is a regular file itself, and no link to one.
enum class Known { Nothing, ListedFile };
/// Durable: content and name have reached the disk before the copy is reported.
enum class Durability { None, Durable };

/// Copies regular files, links followed. A copy appears under its name only when it is complete, has the
/// permissions of the original (read, write, execute) whatever the umask, and never overwrites. One object
/// serves a whole walk: it remembers what the file systems at hand can do.
class FileCopy
{
public:
    explicit FileCopy(Durability durability) : m_durability(durability) {}

    /// Copies `from` in the folder `fromFolder` to the plain name `to` in the open folder `toFolder`. False,
    /// and errno set, with nothing left behind (but a complete copy that replaced a file and whose name could
    /// not be made durable). Never blocks on what is not a regular file. `source` (may be null) receives what
    /// was copied.
    bool copy(int fromFolder, const char *from, int toFolder, const char *to, Existing existing,
              Known known = Known::Nothing, Snapshot *source = nullptr);

private:
    bool write(int source, const struct stat &info, int copy);
    void writeInKernel(int source, int copy);
    bool writeExtents(int source, const struct stat &info, int copy);
    bool writeBlocks(int source, const struct stat &info, int copy);
    bool link(int copy, int folder, const char *name);
    bool replace(int copy, int folder, const char *name);

    bool copyUnnamed(int source, const struct stat &info, int toFolder, const char *to, Existing existing);
    bool copyUnderDraftName(int source, const struct stat &info, int toFolder, const char *to,
                            Existing existing);
    bool finish(int source, const struct stat &info, int copy);
    bool settle(Descriptor copy, int toFolder, const char *to, Existing existing);

    const Durability m_durability;
    bool m_canReflink = true;
    bool m_canStayUnnamed = true;
    bool m_canLinkDescriptor = true;
    std::unique_ptr<char[]> m_block;
};

/// A name for what is not complete, or has to stand aside: hidden, and nobody else's.
QByteArray draftName();

/// Makes a file in `folder` that has no name, and vanishes by itself unless it is given one. Not open, and
/// errno set, where that failed or the file system cannot do it.
Descriptor openUnnamed(int folder, mode_t mode = S_IRUSR | S_IWUSR);

/// Waits until everything written to the file system of the open folder has reached the disk. False, and
/// errno set, when that failed or could not be asked for.
bool syncFileSystem(int folder);

/// Renames `from` to `to`, which must not exist, on one file system. False, and errno set (EXDEV across file
/// systems), with nothing changed.
bool renameExclusively(int fromFolder, const char *from, int toFolder, const char *to);

/// Removes an entry if it is still what `expected` says. False, and errno set, with nothing changed
/// otherwise.
bool removeUnchanged(int folder, const char *name, const Snapshot &expected);

/// Renames `from` to `to`, which must not exist; across file systems the content is copied durably first. A
/// source that changed meanwhile stays. False, and errno set, when `to` could not be made or `from` still
/// exists.
bool moveExclusively(FileCopy &copier, int fromFolder, const char *from, int toFolder, const char *to);

} // namespace TesCoreFiles

#endif
