#include "folderchain_p.h"

namespace TesCoreFiles {

namespace {

// Deep enough that ordinary trees never reopen a folder; two chains and a file copy fit into 64 descriptors.
constexpr std::size_t kHeldOpen = 12;

bool identify(const Descriptor &folder, FileId *id)
{
    struct stat info;
    if (!folder.isOpen() || ::fstat(folder.get(), &info) != 0)
        return false;
    *id = FileId(info);
    return true;
}

bool isFolder(const Descriptor &folder, const FileId &expected)
{
    FileId id;
    if (!identify(folder, &id))
        return false;
    errno = ESTALE;
    return id == expected;
}

} // namespace

Descriptor openFolder(int parent, const char *name, Links links, Access access)
{
    const int flags = (access == Access::List ? O_RDONLY : O_PATH) | O_DIRECTORY | O_CLOEXEC |
                      (links == Links::Refuse ? O_NOFOLLOW : 0);
    return Descriptor(retrying([&] { return ::openat(parent, name, flags); }));
}

bool FolderChain::open(const Place &place, Links links)
{
    Level root{openFolder(place.folder(), place.name(), links, m_access), {}, {}, links};
    if (!identify(root.folder, &root.id))
        return false;
    m_inside.insert(root.id);
    m_levels.push_back(std::move(root));
    return true;
}

bool FolderChain::enter(const char *name, Links links)
{
    // Even where links are followed, most folders are none; knowing that makes the way back up short.
    Level level{openFolder(fd(), name, Links::Refuse, m_access), {}, name, Links::Refuse};
    if (!level.folder.isOpen() && links == Links::Follow && (errno == ENOTDIR || errno == ELOOP)) {
        level.folder = openFolder(fd(), name, Links::Follow, m_access);
        level.links = Links::Follow;
    }
    if (!identify(level.folder, &level.id))
        return false;
    // A chain that fills folders is as deep as the walk beside it, and need not look.
    if (m_access == Access::List && (isInside(level.id) || (m_other && m_other->isInside(level.id)))) {
        errno = ELOOP;
        return false;
    }
    m_inside.insert(level.id);
    m_levels.push_back(std::move(level));
    if (m_levels.size() > kHeldOpen + 1)
        m_levels[m_levels.size() - 1 - kHeldOpen].folder = Descriptor();
    return true;
}

bool FolderChain::leave()
{
    const Level left = std::move(m_levels.back());
    m_levels.pop_back();
    m_inside.erase(m_inside.find(left.id));

    Level &above = m_levels.back();
    if (above.folder.isOpen())
        return true;
    // ".." leads back where no link was followed, at the price of one call.
    above.folder = left.links == Links::Refuse ? openFolder(left.folder.get(), "..", Links::Refuse, m_access)
                                               : reopenFromRoot();
    return isFolder(above.folder, above.id);
}

Descriptor FolderChain::reopenFromRoot() const
{
    Descriptor folder;
    for (std::size_t i = 1; i < m_levels.size(); ++i) {
        const Level &level = m_levels[i];
        const int parent = folder.isOpen() ? folder.get() : rootFd();
        folder = openFolder(parent, level.name.constData(), level.links, m_access);
        if (!isFolder(folder, level.id))
            return Descriptor();
    }
    return folder;
}

} // namespace TesCoreFiles
