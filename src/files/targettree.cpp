#include "targettree_p.h"

namespace TesCoreFiles {

namespace {

constexpr mode_t kAll = S_IRWXU | S_IRWXG | S_IRWXO;

Result makeLike(int original, At folder)
{
    struct stat info;
    if (const Result known = Result::of(::fstat(original, &info)); !known)
        return known;
    return makeFolder(folder, permissionsOf(original, info) | S_IRWXU);
}

} // namespace

Result makeFolders(const QByteArray &path, mode_t mode)
{
    Result result(path.isEmpty() ? ENOENT : 0);
    for (QByteArray::size_type end = 0; result && end < path.size();) {
        end = path.indexOf('/', end + 1);
        if (end < 0)
            end = path.size();
        const Path folder(path.left(end));
        result = makeFolder(folder.at(), mode);
        // Whatever the reason (it exists, a read-only file system, no permission), a folder that is there
        // serves.
        struct stat info;
        if (!result && folder.status(&info) && S_ISDIR(info.st_mode))
            result = Result();
    }
    return result;
}

Result TargetTree::open(const QByteArray &path, int original)
{
    const QByteArray root = entryPath(path);
    struct stat info;
    m_isNew = {!Path(root).status(&info)};
    if (m_isNew.front()) {
        QByteArray parent = parentPath(root);
        for (QByteArray above = parent; !Path(above).status(&info) && above != "/" && above != ".";
             above = parentPath(above))
            ++m_newParents;
        if (const Result made = makeFolders(parent, kAll); !made)
            return made;
        if (const Result made = makeLike(original, Path(root).at()); !made)
            return made;
    }
    return m_stack.open(Path(root).at(), Links::Follow);
}

Result TargetTree::make(const TreeWalk &walk)
{
    const Descriptor original =
        openFolder(walk.entry(), walk.isLink() ? Links::Follow : Links::NoFollow, Access::List);
    if (!original.isOpen())
        return original.result();
    const Result made = makeLike(original.get(), {dirfd(), walk.name()});
    m_isNextNew = bool(made);
    return made;
}

Result TargetTree::enter(TreeWalk &walk, Links links)
{
    const bool isNew = std::exchange(m_isNextNew, false);
    if (const Result entered = m_stack.enter(walk.name(), links); !entered)
        return entered;
    const Result entered = walk.enter();
    if (!entered)
        return m_stack.leave() ? entered : Result(ESTALE);
    m_isNew.resize(walk.depth() + 1);
    m_isNew.back() = isNew;
    return entered;
}

Result TargetTree::leave(const TreeWalk &walk)
{
    if (m_isNew[walk.depth() + 1])
        complete(
            openFolder(walk.entry(), walk.isLink() ? Links::Follow : Links::NoFollow, Access::List).get());
    return m_stack.leave();
}

Result TargetTree::finish(int original)
{
    if (m_isNew.front())
        complete(original);
    // The name of the root stands in its parent, whose name may be new as well.
    const bool isTold = m_durability && m_durability->isPerEntry();
    Descriptor above;
    for (int i = 0; isTold && m_completed && i <= m_newParents; ++i) {
        above = openFolder({i == 0 ? rootDirfd() : above.get(), ".."}, Links::NoFollow, Access::Fill);
        m_completed = above.isOpen() ? syncFolder(above.get()) : above.result();
    }
    return m_completed;
}

/// Gives the folder in which the stack stands what it takes from its original, now that it is filled.
void TargetTree::complete(int original)
{
    struct stat info, now;
    const Descriptor copy = openFolder({dirfd(), "."}, Links::NoFollow, Access::List);
    if (copy.isOpen() && ::fstat(original, &info) == 0 && ::fstat(copy.get(), &now) == 0) {
        const mode_t mode = now.st_mode & (permissionsOf(original, info) | ~kAll) & ~mode_t(S_IFMT);
        if (m_carry == Carry::Everything)
            carryAttributes(original, info, copy.get(), m_carry);
        else if (mode != (now.st_mode & ~mode_t(S_IFMT)))
            ::fchmod(copy.get(), mode); // not every file system has permissions to set
    }
    if (m_completed && m_durability && m_durability->isPerEntry())
        m_completed = syncFolder(dirfd());
}

} // namespace TesCoreFiles
