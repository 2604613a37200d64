#include "attributes_p.h"

#include <QList>
#include <QtEndian>

#include <algorithm>
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

/// The names of the extended attributes, each with a zero behind it.
QByteArray extendedAttributeNames(int fd)
{
    char buffer[4096];
    ssize_t length = ::flistxattr(fd, buffer, sizeof buffer);
    if (length >= 0)
        return QByteArray(buffer, int(length));
    QByteArray names(errno == ERANGE ? kMaxListSize : 0, Qt::Uninitialized);
    length = names.isEmpty() ? 0 : ::flistxattr(fd, names.data(), std::size_t(names.size()));
    names.resize(int(std::max<ssize_t>(length, 0)));
    return names;
}

void carryExtendedAttributes(int original, const QList<QByteArray> &names, int copy)
{
    for (const QByteArray &name : names) {
        const bool isCarried = name.startsWith("user.") || name == kAccessList || name == kDefaultList;
        const QByteArray value = isCarried ? extendedAttribute(original, name.constData()) : QByteArray();
        if (!value.isNull())
            ::fsetxattr(copy, name.constData(), value.constData(), std::size_t(value.size()), 0);
    }
}

/// Gives the copy the owner and group of its original, or the group, where the caller may. Whether both are
/// the same then; `*now` is the copy's status.
bool carryOwner(const struct stat &info, int copy, struct stat *now)
{
    const auto isSame = [&] { return now->st_uid == info.st_uid && now->st_gid == info.st_gid; };
    if (!isSame() &&
        (::fchown(copy, info.st_uid, info.st_gid) == 0 || ::fchown(copy, uid_t(-1), info.st_gid) == 0))
        ::fstat(copy, now);
    return isSame();
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
    const bool isEverything = carry == Carry::Everything;
    const QByteArray names = isEverything ? extendedAttributeNames(original) : QByteArray();
    const bool mayHaveList = !isEverything || names.contains(kAccessList);
    mode_t mode = mayHaveList ? permissionsOf(original, info) : info.st_mode & kPermissions;
    if (isEverything)
        mode |= carryOwner(info, copy, &now) ? info.st_mode & kSpecialBits : now.st_mode & S_ISGID;
    // Looking costs half of setting, and much less where setting is a transaction.
    if ((now.st_mode & (kPermissions | kSpecialBits)) != mode)
        ::fchmod(copy, mode); // not every file system has permissions to set; the content is what counts
    if (!isEverything)
        return;
    if (!names.isEmpty())
        carryExtendedAttributes(original, names.split('\0'), copy);
    const timespec times[] = {info.st_atim, info.st_mtim};
    ::futimens(copy, times);
}

} // namespace TesCoreFiles
