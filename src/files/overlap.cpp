#include "overlap_p.h"

#include "mounts_p.h"
#include "treewalk_p.h"

#include <algorithm>
#include <cstdlib>

namespace TesCoreFiles {

namespace {

/// The folder `path`, or the nearest ancestor of it that exists. Not open when that is unknown.
Descriptor openNearestExisting(QByteArray path)
{
    for (;;) {
        const Path ancestor(path);
        if (!ancestor.result())
            return Descriptor(ancestor.result());
        Descriptor folder = openFolder(ancestor.at(), Links::Follow, Access::Fill);
        if (folder.isOpen() || !meansMissing(folder.result()) || path == "/" || path == ".")
            return folder;
        while (path.size() > 1 && path.endsWith('/'))
            path.chop(1);
        path = parentPath(path);
    }
}

/// Whether the open folder is `id` or has it above itself. True too when that is unknown.
bool isInside(const Descriptor &folder, const FileId &id)
{
    struct stat info;
    Descriptor above;
    FileId below;
    for (int fd = folder.get(); ::fstat(fd, &info) == 0; fd = above.get()) {
        const FileId here(info);
        if (here == id)
            return true;
        if (here == below) // the root is its own parent
            return false;
        below = here;
        above = openFolder({fd, ".."}, Links::NoFollow, Access::Fill);
    }
    return true;
}

/// Whether two folders are on one mount: what is mounted twice has different folders above it. False too when
/// that is unknown.
bool areOnOneMount(At a, const Descriptor &b)
{
    const auto hasMount = [](const struct statx &info) {
        return (info.stx_mask & STATX_MNT_ID) != 0 && info.stx_mnt_id != 0;
    };
    struct statx infoOfA, infoOfB;
    return ::statx(a.dirfd, a.name, 0, STATX_MNT_ID, &infoOfA) == 0 && hasMount(infoOfA) &&
           ::statx(b.get(), "", AT_EMPTY_PATH, STATX_MNT_ID, &infoOfB) == 0 && hasMount(infoOfB) &&
           infoOfA.stx_mnt_id == infoOfB.stx_mnt_id;
}

/// Whether something is mounted below the folder `path`. True too when that is unknown.
bool hasMountsBelow(const QByteArray &path)
{
    char *resolved = ::realpath(path.constData(), nullptr);
    QByteArray prefix = resolved;
    std::free(resolved);
    const QList<Mount> all = mounts();
    if (prefix.isEmpty() || all.isEmpty())
        return true;
    if (!prefix.endsWith('/'))
        prefix += '/';
    return std::any_of(all.begin(), all.end(),
                       [&](const Mount &mount) { return mount.point.startsWith(prefix); });
}

/// Whether the folder `id` is somewhere in the tree `path`. Looks from above, and so sees what is mounted
/// there from elsewhere. True too when that is unknown.
bool holdsFolder(const QByteArray &path, const FileId &id)
{
    TreeWalk walk(Order::None, Keep::Folders);
    if (!walk.open(Path(path).at(), Links::Follow))
        return false;
    while (walk.next()) {
        if (!walk.atFolderEnd() && walk.enter() && FileId(walk.folderStatus()) == id)
            return true;
    }
    return walk.failed();
}

} // namespace

bool leadsInto(const QByteArray &destination, const QByteArray &source)
{
    struct stat own, info;
    const Path from(source);
    if (const Result found = from.status(&own); !found)
        return !meansMissing(found);
    const Descriptor nearest = openNearestExisting(destination);
    if (!nearest.isOpen() || ::fstat(nearest.get(), &info) != 0 || isInside(nearest, FileId(own)))
        return true;
    const bool mayBeMounted = own.st_dev == info.st_dev || hasMountsBelow(source);
    return mayBeMounted && !areOnOneMount(from.at(), nearest) && holdsFolder(source, FileId(info));
}

bool overlap(const QByteArray &a, const QByteArray &b)
{
    struct stat infoOfA, infoOfB;
    return Path(a).status(&infoOfA) && Path(b).status(&infoOfB) &&
           (holdsFolder(a, FileId(infoOfB)) || holdsFolder(b, FileId(infoOfA)));
}

} // namespace TesCoreFiles
