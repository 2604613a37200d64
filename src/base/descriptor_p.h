#ifndef TESCORE_DESCRIPTOR_P_H
#define TESCORE_DESCRIPTOR_P_H

#include "result_p.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <utility>

#include <sys/types.h>
#include <unistd.h>

namespace TesCoreBase {

static_assert(sizeof(off_t) == 8 && sizeof(time_t) == 8,
              "32-bit x86 has them too small for large files and late dates unless strict.cmake asks");

/// Owns one file descriptor, or holds the reason why there is none.
class Descriptor
{
public:
    Descriptor() = default;
    /// Takes what a system call returned: after a failure the object keeps errno.
    explicit Descriptor(int returned) : m_fd(returned >= 0 ? returned : -errno) {}
    explicit Descriptor(Result failure) : m_fd(-failure.error()) {}
    Descriptor(Descriptor &&other) noexcept : m_fd(std::exchange(other.m_fd, -EBADF)) {}
    Descriptor &operator=(Descriptor &&other) noexcept
    {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~Descriptor()
    {
        if (isOpen())
            ::close(m_fd);
    }

    bool isOpen() const { return m_fd >= 0; }
    /// -1 where none is open, which no system call takes for a descriptor.
    int get() const { return isOpen() ? m_fd : -1; }
    /// Why none is open; 0 where one is.
    int error() const { return isOpen() ? 0 : -m_fd; }
    Result result() const { return Result(error()); }

    /// Closes what is open. A file system that writes only now may tell here that it failed.
    Result close()
    {
        if (!isOpen())
            return Result();
        const Result closed = Result::of(::close(std::exchange(m_fd, -EBADF)));
        return closed.error() == EINTR ? Result() : closed; // Linux has released it all the same
    }

private:
    int m_fd = -EBADF;
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

/// Writes all of `data`, in as many calls as that takes.
Result writeAll(int fd, const char *data, std::size_t size);

/// Reads until the buffer is full or the file ends; `*filled` is how far that went.
Result readAll(int fd, char *buffer, std::size_t size, std::size_t *filled);

} // namespace TesCoreBase

#endif
