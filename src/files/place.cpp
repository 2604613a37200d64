#include "place_p.h"

#include <climits>
#include <cstdlib>

namespace TesCoreFiles {

namespace {

constexpr int kLookUpOnly = O_PATH | O_DIRECTORY | O_CLOEXEC;

QByteArray withoutTrailingSlashes(QByteArray path)
{
    while (path.size() > 1 && path.endsWith('/'))
        path.chop(1);
    return path;
}

QByteArray lastName(const QByteArray &path)
{
    return path.mid(path.lastIndexOf('/') + 1);
}

/// The path of the folder that holds the last name of `path`.
QByteArray parentPath(const QByteArray &path)
{
    const auto slash = path.lastIndexOf('/');
    if (slash < 0)
        return QByteArrayLiteral(".");
    return slash == 0 ? QByteArrayLiteral("/") : withoutTrailingSlashes(path.left(slash));
}

} // namespace

Place::Place(const QByteArray &path) : m_name(path)
{
    while (m_name.size() >= PATH_MAX) {
        const auto slash = m_name.lastIndexOf('/', PATH_MAX - 2);
        if (slash < 0)
            return;
        Descriptor next(::openat(folder(), m_name.left(slash + 1).constData(), kLookUpOnly));
        if (!next.isOpen()) {
            m_error = errno;
            return;
        }
        m_folder = std::move(next);
        auto start = slash;
        while (start < m_name.size() && m_name.at(start) == '/')
            ++start;
        m_name = start < m_name.size() ? m_name.mid(start) : QByteArrayLiteral(".");
    }
}

Entry::Entry(const QByteArray &path)
{
    const auto end = withoutTrailingSlashes(path).size();
    const auto slash = path.left(end).lastIndexOf('/');
    const Place parent(slash < 0 ? QByteArrayLiteral(".") : path.left(slash + 1));
    folder = Descriptor(::openat(parent.folder(), parent.name(), kLookUpOnly));
    name = path.mid(slash + 1);
}

Descriptor openFile(int folder, const char *name, int flags)
{
    constexpr int always = O_CLOEXEC | O_NOCTTY;
    constexpr mode_t newFile = 0666; // less the umask
    Descriptor file(retrying([&] { return ::openat(folder, name, flags | always | O_NONBLOCK, newFile); }));
    if (file.isOpen() || errno != EWOULDBLOCK)
        return file;
    // What is held by a descriptor is the same file when it is opened to wait.
    const Descriptor entry(::openat(folder, name, O_PATH | O_CLOEXEC | (flags & O_NOFOLLOW)));
    struct stat info;
    if (!entry.isOpen() || ::fstat(entry.get(), &info) != 0 || !S_ISREG(info.st_mode)) {
        errno = EWOULDBLOCK;
        return Descriptor();
    }
    const int waiting = (flags & ~(O_CREAT | O_NOFOLLOW)) | always;
    return Descriptor(retrying([&] { return ::open(DescriptorPath(entry.get()).text(), waiting); }));
}

bool meansMissing(int errorNumber)
{
    return errorNumber == ENOENT || errorNumber == ENOTDIR || errorNumber == ELOOP ||
           errorNumber == ENAMETOOLONG;
}

QByteArray entryPath(const QByteArray &path)
{
    QByteArray entry = withoutTrailingSlashes(path);
    while (entry.endsWith("/.") && entry.size() > 2)
        entry = withoutTrailingSlashes(entry.left(entry.size() - 1));
    const QByteArray name = lastName(entry);
    if (name != "." && name != "..")
        return entry;
    char *resolved = ::realpath(entry.constData(), nullptr);
    const QByteArray result = resolved ? QByteArray(resolved) : entry;
    std::free(resolved);
    return result;
}

QByteArray linkTarget(const QByteArray &path)
{
    char buffer[PATH_MAX];
    const Place place(path);
    const ssize_t length = ::readlinkat(place.folder(), place.name(), buffer, sizeof buffer);
    if (length < 0)
        return QByteArray();
    const QByteArray target(buffer, int(length));
    return target.startsWith('/') ? target : parentPath(path) + '/' + target;
}

bool makeFolders(const QByteArray &path, mode_t mode)
{
    for (QByteArray::size_type end = 0; end < path.size();) {
        end = path.indexOf('/', end + 1);
        if (end < 0)
            end = path.size();
        const Place place(path.left(end));
        if (::mkdirat(place.folder(), place.name(), mode) == 0)
            continue;
        // Whatever the reason (it exists, a read-only file system, no permission), a folder that is there
        // serves.
        struct stat info;
        if (!place.status(&info) || !S_ISDIR(info.st_mode))
            return false;
    }
    return !path.isEmpty();
}

Descriptor openNearestExisting(QByteArray path)
{
    for (;;) {
        path = withoutTrailingSlashes(path);
        const Place place(path);
        if (!place.isReached())
            return Descriptor();
        Descriptor folder(::openat(place.folder(), place.name(), kLookUpOnly));
        if (folder.isOpen() || !meansMissing(errno) || path == "/" || path == ".")
            return folder;
        path = parentPath(path);
    }
}

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
        above = Descriptor(::openat(fd, "..", kLookUpOnly));
    }
    return true;
}

bool areOnOneMount(const Place &place, const Descriptor &folder)
{
    const auto hasMount = [](const struct statx &info) { return (info.stx_mask & STATX_MNT_ID) != 0; };
    struct statx a, b;
    return ::statx(place.folder(), place.name(), 0, STATX_MNT_ID, &a) == 0 && hasMount(a) &&
           ::statx(folder.get(), "", AT_EMPTY_PATH, STATX_MNT_ID, &b) == 0 && hasMount(b) &&
           a.stx_mnt_id == b.stx_mnt_id;
}

} // namespace TesCoreFiles
