#ifndef TESCORE_ATTRIBUTES_P_H
#define TESCORE_ATTRIBUTES_P_H

#include <sys/stat.h>

namespace TesCoreFiles {

/// What a copy takes from its original beside the content. Permissions: read, write and execute. Everything:
/// also times, owner and group where the caller may set them, user attributes and access control lists.
enum class Carry { Permissions, Everything };

/// The permissions of an original, without what its access control list keeps from somebody: group and others
/// get no more than each entry of the list has. The descriptor is open for reading.
mode_t permissionsOf(int fd, const struct stat &info);

/// Gives a new file or folder the attributes of its original, as far as its file system can hold them: what
/// it cannot hold is no failure. Both descriptors are open for reading or writing; `info` is the original's
/// status. To be called when the copy is complete, since filling it changes its times.
void carryAttributes(int original, const struct stat &info, int copy, Carry carry);

} // namespace TesCoreFiles

#endif
