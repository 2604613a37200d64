#include "path_p.h"

#include <QList>

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

bool isMissing(const QByteArray &path)
{
    struct stat info;
    const Result found = Path(path).status(&info);
    return !found && meansMissing(found);
}

} // namespace

Path::Path(const QByteArray &path) : m_name(path)
{
    while (m_name.size() >= PATH_MAX) {
        const auto slash = m_name.lastIndexOf('/', PATH_MAX - 2);
        if (slash < 0)
            return;
        Descriptor next(::openat(at().dirfd, m_name.left(slash + 1).constData(), kLookUpOnly));
        m_result = next.result();
        if (!m_result)
            return;
        m_dirfd = std::move(next);
        auto start = slash;
        while (start < m_name.size() && m_name.at(start) == '/')
            ++start;
        m_name = start < m_name.size() ? m_name.mid(start) : QByteArrayLiteral(".");
    }
}

Result Path::status(struct stat *info, int flags) const
{
    return m_result ? Result::of(::fstatat(at().dirfd, at().name, info, flags)) : m_result;
}

Entry::Entry(const QByteArray &path)
{
    const auto end = withoutTrailingSlashes(path).size();
    const auto slash = path.left(end).lastIndexOf('/');
    const Path parent(slash < 0 ? QByteArrayLiteral(".") : path.left(slash + 1));
    m_dirfd = parent.result() ? Descriptor(::openat(parent.at().dirfd, parent.at().name, kLookUpOnly))
                              : Descriptor(parent.result());
    m_name = path.mid(slash + 1);
}

bool meansMissing(Result failure)
{
    const int error = failure.error();
    return error == ENOENT || error == ENOTDIR || error == ELOOP || error == ENAMETOOLONG;
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
    const Path link(path);
    const ssize_t length = ::readlinkat(link.at().dirfd, link.at().name, buffer, sizeof buffer);
    if (length < 0)
        return QByteArray();
    const QByteArray target(buffer, int(length));
    return target.startsWith('/') ? target : parentPath(path) + '/' + target;
}

QByteArray parentPath(const QByteArray &path)
{
    const auto slash = path.lastIndexOf('/');
    if (slash < 0)
        return QByteArrayLiteral(".");
    return slash == 0 ? QByteArrayLiteral("/") : withoutTrailingSlashes(path.left(slash));
}

QByteArray withoutMissingFolders(const QByteArray &path)
{
    if (!path.contains(".."))
        return path;
    QByteArray result = path.startsWith('/') ? QByteArrayLiteral("/") : QByteArray();
    const QList<QByteArray> names = path.split('/');
    for (const QByteArray &name : names) {
        if (name == ".." && !result.isEmpty() && lastName(result) != ".." && isMissing(result))
            result = result.contains('/') ? parentPath(result) : QByteArray();
        else if (!name.isEmpty() && name != ".")
            result += (result.isEmpty() || result.endsWith('/') ? "" : "/") + name;
    }
    return result.isEmpty() ? QByteArrayLiteral(".") : result;
}

} // namespace TesCoreFiles
