#include "directorystack_p.h"

namespace TesCoreFiles {

namespace {

// Deep enough that ordinary trees never reopen a folder; two stacks and a file copy fit into 64 descriptors.
constexpr std::size_t kMaxOpen = 12;

/// The descriptor, as long as it is of the folder `expected`.
Descriptor verified(Descriptor folder, const FileId &expected)
{
    struct stat info;
    if (!folder.isOpen())
        return folder;
    const Result known = Result::of(::fstat(folder.get(), &info));
    if (!known)
        return Descriptor(known);
    return FileId(info) == expected ? std::move(folder) : Descriptor(Result(ESTALE));
}

} // namespace

Descriptor openFolder(At folder, Links links, Access access)
{
    const int flags = (access == Access::List ? O_RDONLY : O_PATH) | O_DIRECTORY | O_CLOEXEC |
                      (links == Links::NoFollow ? O_NOFOLLOW : 0);
    return Descriptor(retrying([&] { return ::openat(folder.dirfd, folder.name, flags); }));
}

Result DirectoryStack::open(At root, Links links)
{
    return push(openFolder(root, links, m_access), "", links);
}

Result DirectoryStack::enter(const char *name, Links links)
{
    // Even where links are followed, most folders are none; knowing that makes the way back up short.
    Descriptor folder = openFolder({dirfd(), name}, Links::NoFollow, m_access);
    const bool isLink = folder.error() == ENOTDIR || folder.error() == ELOOP;
    if (links == Links::Follow && isLink)
        return push(openFolder({dirfd(), name}, Links::Follow, m_access), name, Links::Follow);
    return push(std::move(folder), name, Links::NoFollow);
}

Result DirectoryStack::push(Descriptor folder, const char *name, Links links)
{
    Level level{std::move(folder), {}, name, links};
    if (!level.dirfd.isOpen())
        return level.dirfd.result();
    if (const Result known = Result::of(::fstat(level.dirfd.get(), &level.status)); !known)
        return known;
    // A stack that fills folders is as deep as the walk beside it, and need not look.
    const FileId id(level.status);
    if (m_access == Access::List && (contains(id) || (m_excluded && m_excluded->contains(id))))
        return Result(ELOOP);
    m_levels.push_back(std::move(level));
    m_inside.insert(id);
    if (m_levels.size() > kMaxOpen + 1)
        m_levels[m_levels.size() - 1 - kMaxOpen].dirfd = Descriptor();
    return Result();
}

Result DirectoryStack::leave()
{
    const Level left = std::move(m_levels.back());
    m_levels.pop_back();
    m_inside.erase(m_inside.find(FileId(left.status)));

    Level &above = m_levels.back();
    if (above.dirfd.isOpen())
        return Result();
    // ".." leads back where no link was followed, at the price of one call.
    above.dirfd =
        left.links == Links::NoFollow
            ? verified(openFolder({left.dirfd.get(), ".."}, Links::NoFollow, m_access), FileId(above.status))
            : reopenFromRoot();
    return above.dirfd.result();
}

Descriptor DirectoryStack::reopenFromRoot() const
{
    Descriptor folder;
    for (std::size_t i = 1; i < m_levels.size(); ++i) {
        const Level &level = m_levels[i];
        const int parent = folder.isOpen() ? folder.get() : rootDirfd();
        folder = verified(openFolder({parent, level.name.constData()}, level.links, m_access),
                          FileId(level.status));
        if (!folder.isOpen())
            break;
    }
    return folder;
}

} // namespace TesCoreFiles
