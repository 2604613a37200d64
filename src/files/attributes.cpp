#include "attributes_p.h"

#include <QByteArray>
#include <QtEndian>

#include <cerrno>
#include <cstring>

#include <sys/xattr.h>
#include <unistd.h>

namespace TesCoreFiles {

namespace {

constexpr mode_t kPermissions = S_IRWXU | S_IRWXG | S_IRWXO;
constexpr const char *kAccessList = "system.posix_acl_access";
constexpr const char *kDefaultList = "system.posix_acl_default";
constexpr int kMaxListSize = 65536; // XATTR_LIST_MAX
constexpr mode_t kSpecialBits = S_ISUID | S_ISGID | S_ISVTX;

/// The value of an extended attribute; a null array where there is none.
QByteArray extendedAttribute(int fd, const char *name)
{
    char buffer[1024];
    ssize_t length = ::fgetxattr(fd, name, buffer, sizeof buffer);
    if (length >= 0)
        return QByteArray(buffer, int(length));
    if (errno != ERANGE || (length = ::fgetxattr(fd, name, nullptr, 0)) < 0)
        return QByteArray();
    QByteArray value(int(length), Qt::Uninitialized);
    length = ::fgetxattr(fd, name, value.data(), std::size_t(value.size()));
    value.resize(length < 0 ? 0 : int(length));
    return length < 0 ? QByteArray() : value;
}

/// The bits of `mode` that everybody whom the list names has too (acl(5); linux/posix_acl_xattr.h has the
/// layout: a version, then for each entry a tag, permissions and an id, little-endian).
mode_t restricted(mode_t mode, const QByteArray &list)
{
    constexpr int headerSize = 4, entrySize = 8;
    constexpr quint16 namedUser = 0x02, owningGroup = 0x04, namedGroup = 0x08, mask = 0x10;
    mode_t common = S_IRWXO, groupMask = S_IRWXO, group = S_IRWXO;
    for (int at = headerSize; at + entrySize <= list.size(); at += entrySize) {
        const auto tag = qFromLittleEndian<quint16>(list.constData() + at);
        const mode_t bits = qFromLittleEndian<quint16>(list.constData() + at + 2);
        if (tag == namedUser || tag == namedGroup)
            common &= bits;
        else if (tag == owningGroup)
            group = bits;
        else if (tag == mask)
            groupMask = bits;
    }
    common &= common == S_IRWXO ? S_IRWXO : groupMask;
    group &= groupMask & common;
    return mode & (S_IRWXU | group << 3 | common);
}

void carryUserAttributes(int original, int copy)
{
    char buffer[4096];
    QByteArray names;
    ssize_t length = ::flistxattr(original, buffer, sizeof buffer);
    if (length >= 0) {
        names = QByteArray::fromRawData(buffer, int(length));
    } else if (errno == ERANGE) {
        names.resize(kMaxListSize);
        length = ::flistxattr(original, names.data(), std::size_t(names.size()));
    }
    for (ssize_t at = 0; at < length; at += ssize_t(std::strlen(names.constData() + at)) + 1) {
        const char *name = names.constData() + at;
        const bool isCarried = std::strncmp(name, "user.", 5) == 0 || std::strcmp(name, kAccessList) == 0 ||
                               std::strcmp(name, kDefaultList) == 0;
        const QByteArray value = isCarried ? extendedAttribute(original, name) : QByteArray();
        if (!value.isNull())
            ::fsetxattr(copy, name, value.constData(), std::size_t(value.size()), 0);
    }
}

} // namespace

mode_t permissionsOf(int fd, const struct stat &info)
{
    const mode_t mode = info.st_mode & kPermissions;
    if (!(mode & (S_IRWXG | S_IRWXO)))
        return mode;
    const QByteArray list = extendedAttribute(fd, kAccessList);
    return list.isNull() ? mode : restricted(mode, list);
}

void carryAttributes(int original, const struct stat &info, int copy, Carry carry)
{
    struct stat now;
    if (::fstat(copy, &now) != 0)
        return;
    mode_t mode = permissionsOf(original, info);
    if (carry == Carry::Everything) {
        if (now.st_uid != info.st_uid || now.st_gid != info.st_gid) {
            if (::fchown(copy, info.st_uid, info.st_gid) != 0 &&
                ::fchown(copy, uid_t(-1), info.st_gid) != 0) {
                // Not every user may, and not every file system has owners.
            }
            ::fstat(copy, &now);
        }
        const bool hasOwner = now.st_uid == info.st_uid && now.st_gid == info.st_gid;
        mode |= hasOwner ? info.st_mode & kSpecialBits : now.st_mode & S_ISGID;
    }
    // Looking costs half of setting, and much less where setting is a transaction.
    if ((now.st_mode & (kPermissions | kSpecialBits)) != mode)
        ::fchmod(copy, mode); // not every file system has permissions to set; the content is what counts
    if (carry == Carry::Everything) {
        carryUserAttributes(original, copy);
        const timespec times[] = {info.st_atim, info.st_mtim};
        ::futimens(copy, times);
    }
}

} // namespace TesCoreFiles
