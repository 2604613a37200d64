#ifndef TESCORE_FILEID_P_H
#define TESCORE_FILEID_P_H

#include <ctime>

#include <sys/stat.h>

namespace TesCoreFiles {

/// Which file or folder of which file system.
struct FileId
{
    dev_t device = 0;
    ino_t inode = 0;

    FileId() = default;
    explicit FileId(const struct stat &info) : device(info.st_dev), inode(info.st_ino) {}
    friend bool operator==(const FileId &a, const FileId &b)
    {
        return a.device == b.device && a.inode == b.inode;
    }
    friend bool operator!=(const FileId &a, const FileId &b) { return !(a == b); }
};

/// What a file was when it was seen: tells later whether it is still the same with the same content.
class Stamp
{
public:
    Stamp() = default;
    explicit Stamp(const struct stat &info)
        : m_id(info), m_size(info.st_size), m_modified(info.st_mtim), m_isYoung(isYoung(info.st_mtim))
    {
    }

    const FileId &id() const { return m_id; }
    bool matches(const struct stat &now) const
    {
        return m_id == FileId(now) && m_size == now.st_size && m_modified.tv_sec == now.st_mtim.tv_sec &&
               m_modified.tv_nsec == now.st_mtim.tv_nsec;
    }
    /// Whether a change right after the file was seen could have left it the same time of modification.
    bool isYoung() const { return m_isYoung; }

private:
    static bool isYoung(const timespec &modified)
    {
        // File systems keep whole seconds, even pairs of them, or the kernel's ticks of up to 10 ms.
        constexpr long long second = 1'000'000'000, coarse = 2 * second, tick = 10'000'000;
        timespec now;
        ::clock_gettime(CLOCK_REALTIME_COARSE, &now);
        const long long age = (now.tv_sec - modified.tv_sec) * second + (now.tv_nsec - modified.tv_nsec);
        return age <= 2 * tick + (modified.tv_nsec == 0 ? coarse : 0);
    }

    FileId m_id;
    off_t m_size = 0;
    timespec m_modified = {};
    bool m_isYoung = false;
};

} // namespace TesCoreFiles

#endif
