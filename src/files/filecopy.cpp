#include "filecopy_p.h"

#include "openfile_p.h"
#include "rename_p.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/sendfile.h>

namespace TesCoreFiles {

namespace {

// One read and one write: up to this size a copy in the kernel costs more calls than it saves.
constexpr std::size_t kBlockSize = std::size_t{64} * 1024;
constexpr off_t kKernelChunk = 1 << 30;
constexpr off_t kToTheEnd = std::numeric_limits<off_t>::max();

Result seek(int fd, off_t offset)
{
    return ::lseek(fd, offset, SEEK_SET) == offset ? Result() : Result(errno);
}

/// Where the next data of a file stand, from `offset` on; where holes are unknown, all is data.
off_t nextData(int fd, off_t offset, off_t end)
{
    const off_t data = ::lseek(fd, offset, SEEK_DATA);
    return data >= 0 ? data : errno == ENXIO ? end : offset;
}

bool isSparse(const struct stat &info)
{
    return info.st_blocks * 512 < info.st_size;
}

} // namespace

FileCopy::Source FileCopy::openSource(At from, int flags)
{
    Source source{openFile(from, O_RDONLY | flags), {}};
    if (!source.file.isOpen())
        return source;
    if (const Result known = Result::of(::fstat(source.file.get(), &source.info)); !known)
        source.file = Descriptor(known);
    else if (!S_ISREG(source.info.st_mode))
        source.file = Descriptor(Result(EINVAL));
    return source;
}

Result FileCopy::copy(At from, At to, CopyStamps *stamps)
{
    // Looked at before it is opened: opening a device may already act on it.
    struct stat info;
    if (const Result found = status(from, &info); !found)
        return found;
    return S_ISREG(info.st_mode) ? copy(openSource(from, 0), to, stamps) : Result(EINVAL);
}

Result FileCopy::copyListed(At from, At to, CopyStamps *stamps)
{
    Source source = openSource(from, O_NOFOLLOW); // spares a look at nearly all files of a tree
    return source.file.error() == ELOOP ? copy(from, to, stamps) : copy(source, to, stamps);
}

Result FileCopy::replace(At from, At to)
{
    const QByteArray name = temporaryName();
    const At temporary{to.dirfd, name.constData()};
    if (const Result copied = copy(from, temporary, nullptr); !copied)
        return copied;
    const Result renamed = rename(temporary, to);
    if (!renamed)
        static_cast<void>(unlink(temporary));
    return renamed;
}

Result FileCopy::copy(const Source &source, At to, CopyStamps *stamps)
{
    if (!source.file.isOpen())
        return source.file.result();
    if (m_canStayUnnamed) {
        const Result copied = copyUnnamed(source, to, stamps);
        if (m_canStayUnnamed)
            return copied;
        if (const Result rewound = seek(source.file.get(), 0); !rewound)
            return rewound;
    }
    return copyUnderTemporaryName(source, to, stamps);
}

/// Fills a file that has no name, and vanishes by itself unless it is given one. Clears m_canStayUnnamed
/// where the file system has no such files, or cannot name them.
Result FileCopy::copyUnnamed(const Source &source, At to, CopyStamps *stamps)
{
    Descriptor copy = openUnnamed(to.dirfd, source.info.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO));
    if (!copy.isOpen()) {
        m_canStayUnnamed = !isUnsupported(copy.result()) && copy.error() != EISDIR;
        return copy.result();
    }
    if (const Result filled = fill(source, copy.get(), stamps); !filled)
        return filled;
    if (const Result linked = link(copy.get(), to); !linked) {
        const int error = linked.error();
        m_canStayUnnamed = !isUnsupported(linked) && error != ENOENT && error != EACCES && error != EXDEV;
        return linked;
    }
    // Some file systems write only now.
    const Result closed = copy.close();
    if (!closed)
        static_cast<void>(unlink(to));
    return closed;
}

Result FileCopy::copyUnderTemporaryName(const Source &source, At to, CopyStamps *stamps)
{
    const QByteArray name = temporaryName();
    const At temporary{to.dirfd, name.constData()};
    Descriptor copy(::openat(to.dirfd, temporary.name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!copy.isOpen())
        return copy.result();
    Result result = fill(source, copy.get(), stamps);
    if (result)
        result = copy.close();
    if (result)
        result = renameExclusively(temporary, to);
    if (!result)
        static_cast<void>(unlink(temporary));
    return result;
}

/// Writes content and attributes of a copy.
Result FileCopy::fill(const Source &source, int copy, CopyStamps *stamps)
{
    const int from = source.file.get();
    Result written;
    if (source.info.st_size <= off_t(kBlockSize)) { // also what says it is empty and is not, as in /proc
        written = writeBlocks(from, copy, kToTheEnd, source.info.st_size);
    } else if (!m_canReflink || ::ioctl(copy, FICLONE, from) != 0) {
        m_canReflink = false;
        written = isSparse(source.info) ? writeExtents(source, copy) : writeRest(from, copy, kToTheEnd);
    }
    if (!written)
        return written;
    carryAttributes(from, source.info, copy, m_carry);
    if (m_durability && m_durability->isPerEntry()) {
        if (const Result synced = syncFile(copy); !synced)
            return synced;
    }
    struct stat info;
    if (!stamps)
        return Result();
    const Result known = Result::of(::fstat(copy, &info));
    *stamps = {Stamp(source.info), Stamp(info)};
    return known;
}

/// Copies the stretches of a sparse file that hold data, and leaves its holes holes.
Result FileCopy::writeExtents(const Source &source, int copy)
{
    const int from = source.file.get();
    off_t end = 0;
    for (;;) {
        const off_t start = ::lseek(from, end, SEEK_DATA);
        if (start < 0 && errno == ENXIO)
            return Result::of(::ftruncate(copy, std::max(end, source.info.st_size)));
        end = start < 0 ? -1 : ::lseek(from, start, SEEK_HOLE);
        const off_t stretch = end < 0 ? 0 : start; // where holes are unknown, all is data
        if (const Result ready = seek(from, stretch); !ready)
            return ready;
        if (const Result ready = seek(copy, stretch); !ready)
            return ready;
        const Result written = writeRest(from, copy, end < 0 ? kToTheEnd : end - start);
        if (!written || end < 0)
            return written;
    }
}

/// Copies up to `length` bytes from where both offsets stand. Goes as far as the kernel can; the blocks go on
/// from there, and meet the end, or the error, themselves.
Result FileCopy::writeRest(int source, int copy, off_t length)
{
    const off_t start = length;
    ssize_t done = 1;
    const auto chunk = [&] { return std::size_t(std::min(length, kKernelChunk)); };
    while (done > 0 && length > 0) {
        done = retrying([&] { return ::copy_file_range(source, nullptr, copy, nullptr, chunk(), 0); });
        length -= std::max<ssize_t>(done, 0);
    }
    while (done != 0 && length > 0) {
        done = retrying([&] { return ::sendfile(copy, source, nullptr, chunk()); });
        if (done < 0)
            break;
        length -= done;
    }
    return start == kToTheEnd || length > 0 ? writeBlocks(source, copy, length, -1) : Result();
}

/// `wholeSize` is what the file was said to hold, or -1 where that is of no use.
Result FileCopy::writeBlocks(int source, int copy, off_t length, off_t wholeSize)
{
    if (!m_block)
        m_block = std::make_unique<char[]>(kBlockSize);
    while (length > 0) {
        const auto size = std::size_t(std::min(length, off_t(kBlockSize)));
        const ssize_t got = retrying([&] { return ::read(source, m_block.get(), size); });
        if (got <= 0)
            return Result::of(got);
        if (const Result written = writeAll(copy, m_block.get(), std::size_t(got)); !written)
            return written;
        // A whole file that left room in the first block needs no other read to find its end.
        if (got == wholeSize && std::size_t(got) < kBlockSize)
            break;
        length -= got;
    }
    return Result();
}

/// Gives the unnamed file `copy` a name that must be free.
Result FileCopy::link(int copy, At to)
{
    if (m_canLinkDescriptor) {
        const Result linked = Result::of(::linkat(copy, "", to.dirfd, to.name, AT_EMPTY_PATH));
        if (linked || !isCertainlyUndone(linked) || linked.error() == EEXIST)
            return linked;
    }
    // Without the capability that the short way wants, the file is reached through its descriptor's entry.
    const Result linked =
        Result::of(::linkat(AT_FDCWD, DescriptorPath(copy).text(), to.dirfd, to.name, AT_SYMLINK_FOLLOW));
    m_canLinkDescriptor = m_canLinkDescriptor && !linked;
    return linked;
}

bool haveSameContent(At a, At b)
{
    const Descriptor first = openFile(a, O_RDONLY | O_NOFOLLOW), second = openFile(b, O_RDONLY | O_NOFOLLOW);
    struct stat infoOfFirst, infoOfSecond;
    if (!first.isOpen() || !second.isOpen() || ::fstat(first.get(), &infoOfFirst) != 0 ||
        ::fstat(second.get(), &infoOfSecond) != 0 || infoOfFirst.st_size != infoOfSecond.st_size)
        return false;
    const bool haveHoles = isSparse(infoOfFirst) && isSparse(infoOfSecond);
    const off_t end = infoOfFirst.st_size;
    const std::unique_ptr<char[]> blocks(new (std::nothrow) char[2 * kBlockSize]);
    for (off_t at = 0; blocks && at < end; at += kBlockSize) {
        // What is a hole in both is the same.
        if (haveHoles)
            at = std::min(nextData(first.get(), at, end), nextData(second.get(), at, end));
        const auto size = std::size_t(std::min(end - at, off_t(kBlockSize)));
        std::size_t got = 0, gotOfSecond = 0;
        if (!seek(first.get(), at) || !seek(second.get(), at) ||
            !readAll(first.get(), blocks.get(), size, &got) ||
            !readAll(second.get(), blocks.get() + kBlockSize, size, &gotOfSecond) || got != size ||
            gotOfSecond != size || std::memcmp(blocks.get(), blocks.get() + kBlockSize, size) != 0)
            return false;
    }
    return bool(blocks);
}

} // namespace TesCoreFiles
