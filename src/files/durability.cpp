#include "durability_p.h"

#include "directorystack_p.h"
#include "rename_p.h"

namespace TesCoreFiles {

namespace {

/// A descriptor of anything on the file system: the folder itself, or a file without a name where it may be
/// written to but not read.
Descriptor openOn(int dirfd)
{
    Descriptor folder = openFolder({dirfd, "."}, Links::NoFollow, Access::List);
    if (folder.error() != EACCES)
        return folder;
    Descriptor unnamed = openUnnamed(dirfd, 0);
    if (unnamed.isOpen() || !isUnsupported(unnamed.result()))
        return unnamed;
    const QByteArray name = temporaryName();
    Descriptor file(::openat(dirfd, name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0));
    if (file.isOpen())
        static_cast<void>(unlink({dirfd, name.constData()}));
    return file;
}

} // namespace

Durability::Durability(int dirfd) : m_onIt(openOn(dirfd)), m_isPerEntry(!isLocal(dirfd)) {}

Result Durability::sync(int dirfd) const
{
    if (m_isPerEntry) {
        if (const Result synced = syncFolder(dirfd); !synced)
            return synced;
    }
    const Result synced = Result::of(::syncfs(m_onIt.get()));
    if (!isUnsupported(synced))
        return synced;
    ::sync(); // syncs all file systems, and waits for them on Linux
    return Result();
}

Result syncFile(int fd)
{
    return Result::of(retrying([&] { return ::fsync(fd); }));
}

Result syncFolder(int dirfd)
{
    const Descriptor folder = openFolder({dirfd, "."}, Links::NoFollow, Access::List);
    // One that may not be read, or cannot be synced by itself, is left to syncfs().
    if (!folder.isOpen())
        return folder.error() == EACCES ? Result() : folder.result();
    const Result synced = syncFile(folder.get());
    return isUnsupported(synced) ? Result() : synced;
}

} // namespace TesCoreFiles
