#include "copyrecord_p.h"

#include "filecopy_p.h"
#include "folderchain_p.h"
#include "treewalk_p.h"

#include <cstring>

namespace TesCoreFiles {

namespace {

bool look(const TreeWalk &walk, Snapshot *seen)
{
    struct stat info;
    if (::fstatat(walk.fd(), walk.name(), &info, AT_SYMLINK_NOFOLLOW) != 0)
        return false;
    *seen = Snapshot(info);
    return true;
}

} // namespace

void CopyRecord::add(Step step, const char *name, const Snapshot &seen)
{
    m_notes.push_back({step, m_names.size(), seen});
    m_names.insert(m_names.end(), name, name + std::strlen(name) + 1);
}

bool CopyRecord::entering(const TreeWalk &walk)
{
    if (m_foldersBehindLink > 0 || walk.isLink())
        ++m_foldersBehindLink;
    if (m_foldersBehindLink > 1)
        return true;
    Snapshot seen;
    if (!look(walk, &seen))
        return false;
    add(walk.isLink() ? Step::Remove : Step::Enter, walk.name(), seen);
    return true;
}

void CopyRecord::left()
{
    if (m_foldersBehindLink > 0)
        --m_foldersBehindLink;
    else
        add(Step::Leave, "", {});
}

bool CopyRecord::copied(const TreeWalk &walk, const Snapshot &content)
{
    if (m_foldersBehindLink > 0)
        return true;
    Snapshot seen = content;
    if (walk.isLink() && !look(walk, &seen))
        return false;
    add(Step::Remove, walk.name(), seen);
    return true;
}

bool CopyRecord::deleteFrom(const Place &root, const FileId &rootId) const
{
    FolderChain chain(Access::Fill);
    if (!chain.open(root, Links::Refuse))
        return false;
    errno = ESTALE;
    if (!(chain.rootId() == rootId))
        return false;

    for (const Note &note : m_notes) {
        const char *name = m_names.data() + note.name;
        if (note.step == Step::Remove) {
            if (!removeUnchanged(chain.fd(), name, note.seen))
                return false;
        } else if (note.step == Step::Enter) {
            if (!chain.enter(name, Links::Refuse) || !(chain.id() == note.seen.id))
                return false;
        } else {
            const QByteArray folder = chain.name();
            if (!chain.leave() || ::unlinkat(chain.fd(), folder.constData(), AT_REMOVEDIR) != 0)
                return false;
        }
    }
    return ::unlinkat(root.folder(), root.name(), AT_REMOVEDIR) == 0;
}

} // namespace TesCoreFiles
