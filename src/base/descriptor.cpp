#include "descriptor_p.h"

namespace TesCoreBase {

Result writeAll(int fd, const char *data, std::size_t size)
{
    while (size > 0) {
        const ssize_t written = retrying([&] { return ::write(fd, data, size); });
        if (written <= 0)
            return written == 0 ? Result(EIO) : Result::of(written);
        data += written;
        size -= std::size_t(written);
    }
    return Result();
}

Result readAll(int fd, char *buffer, std::size_t size, std::size_t *filled)
{
    *filled = 0;
    while (*filled < size) {
        const ssize_t got = retrying([&] { return ::read(fd, buffer + *filled, size - *filled); });
        if (got <= 0)
            return Result::of(got);
        *filled += std::size_t(got);
    }
    return Result();
}

} // namespace TesCoreBase
