#ifndef TESCORE_FILECOPY_P_H
#define TESCORE_FILECOPY_P_H

#include "attributes_p.h"
#include "durability_p.h"
#include "fileid_p.h"
#include "path_p.h"

#include <memory>

namespace TesCoreFiles {

/// What a copy was made of, and what it is.
struct CopyStamps
{
    Stamp original;
    Stamp copy;
};

/// Copies regular files, links followed. A copy appears under its name only when it is complete, with the
/// attributes of its original, and never overwrites. One object serves a whole walk: it remembers what the
/// file systems at hand can do.
class FileCopy
{
public:
    /// `durability`, which may be null and must live as long, tells whether each file is synced.
    explicit FileCopy(Carry carry, const Durability *durability = nullptr)
        : m_carry(carry), m_durability(durability)
    {
    }

    /// Copies the file `from`, which is not opened when it may be anything but a regular one, to the free
    /// name `to`. After a failure nothing is left behind.
    Result copy(At from, At to, CopyStamps *stamps = nullptr);
    /// The same where a listing has just told that `from` is a regular file itself, and no link to one.
    Result copyListed(At from, At to, CopyStamps *stamps = nullptr);
    /// Copies to a fresh hidden name in the folder of `to`, and renames that over `to`.
    Result replace(At from, At to);

private:
    struct Source
    {
        Descriptor file;
        struct stat info;
    };

    static Source openSource(At from, int flags);
    Result copy(const Source &source, At to, CopyStamps *stamps);
    Result copyUnnamed(const Source &source, At to, CopyStamps *stamps);
    Result copyUnderTemporaryName(const Source &source, At to, CopyStamps *stamps);

    Result fill(const Source &source, int copy, CopyStamps *stamps);
    Result writeExtents(const Source &source, int copy);
    Result writeRest(int source, int copy, off_t length);
    Result writeBlocks(int source, int copy, off_t length, off_t wholeSize);
    Result link(int copy, At to);

    const Carry m_carry;
    const Durability *m_durability;
    bool m_canReflink = true;
    bool m_canStayUnnamed = true;
    bool m_canLinkDescriptor = true;
    std::unique_ptr<char[]> m_block;
};

/// Whether two files have the same content. False too after a failure to read.
bool haveSameContent(At a, At b);

} // namespace TesCoreFiles

#endif
