#ifndef TESCORE_DESCRIPTOR_P_H
#define TESCORE_DESCRIPTOR_P_H

#include <cerrno>
#include <cstdio>
#include <utility>

#include <sys/types.h>
#include <unistd.h>

namespace TesCoreFiles {

static_assert(sizeof(off_t) == 8 && sizeof(time_t) == 8,
              "32-bit x86 has them too small for large files and late dates unless strict.cmake asks");

/// Owns one file descriptor; -1 stands for none. Its end keeps errno, so that an error can still be told
/// after it.
class Descriptor
{
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : m_fd(fd) {}
    Descriptor(Descriptor &&other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept
    {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~Descriptor()
    {
        const int kept = errno;
        close();
        errno = kept;
    }

    bool isOpen() const { return m_fd >= 0; }
    int get() const { return m_fd; }
    /// False, and errno set, when closing told of an error: some file systems write only then.
    bool close()
    {
        const int kept = errno;
        if (m_fd >= 0 && ::close(std::exchange(m_fd, -1)) != 0 && errno != EINTR)
            return false;
        errno = kept;
        return true;
    }

private:
    int m_fd = -1;
};

/// The path under which the kernel shows what a descriptor of this process is open for.
class DescriptorPath
{
public:
    explicit DescriptorPath(int fd) { std::snprintf(m_text, sizeof m_text, "/proc/self/fd/%d", fd); }
    const char *text() const { return m_text; }

private:
    char m_text[sizeof "/proc/self/fd/" + 12];
};

/// Runs a system call again for as long as a signal interrupts it.
template <typename Call>
auto retrying(Call call) -> decltype(call())
{
    decltype(call()) result;
    do {
        result = call();
    } while (result == -1 && errno == EINTR);
    return result;
}

} // namespace TesCoreFiles

#endif
