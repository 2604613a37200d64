#include "directorylisting_p.h"

#include "path_p.h"
#include <base/descriptor_p.h>
#include <base/nativepath_p.h>

#include <QHash>

#include <algorithm>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace TesCoreFiles {

namespace {

constexpr std::size_t kReadSize = std::size_t{32} * 1024;

char lowered(char byte)
{
    return byte >= 'A' && byte <= 'Z' ? char(byte + ('a' - 'A')) : byte;
}

/// Compares what the eight bytes of the sort keys left undecided.
int compareIgnoringAsciiCase(const char *a, const char *b)
{
    for (; *a && lowered(*a) == lowered(*b); ++a, ++b) {
    }
    return uchar(lowered(*a)) - uchar(lowered(*b));
}

quint64 sortKeyOf(const char *name)
{
    quint64 key = 0;
    for (int shift = 64 - 8; shift >= 0 && *name; shift -= 8, ++name)
        key |= quint64(uchar(lowered(*name))) << shift;
    return key;
}

EntryKind kindOf(mode_t mode)
{
    return S_ISREG(mode) ? EntryKind::File : S_ISDIR(mode) ? EntryKind::Folder : EntryKind::Other;
}

unsigned char typeOf(mode_t mode)
{
    return IFTODT(mode);
}

} // namespace

Result DirectoryListing::read(int dirfd, Order order, Keep keep)
{
    m_entries.clear();
    m_names.clear();
    m_passedOver = 0;
    m_isComplete = true;

    alignas(dirent64) char buffer[kReadSize];
    for (;;) {
        const ssize_t length = retrying([&] { return ::getdents64(dirfd, buffer, sizeof buffer); });
        if (length < 0)
            return Result::of(length);
        if (length == 0)
            break;
        for (ssize_t at = 0; at < length;) {
            const void *record = buffer + at; // aligned by the kernel
            const auto *entry = static_cast<const dirent64 *>(record);
            at += entry->d_reclen;
            if (entry->d_name[0] != '.')
                add(dirfd, entry->d_name, entry->d_type, keep);
        }
    }
    if (order == Order::ByName)
        sortByName();
    return Result();
}

void DirectoryListing::add(int dirfd, const char *name, unsigned char type, Keep keep)
{
    struct stat info;
    if (type == DT_UNKNOWN) {
        const Result found = linkStatus({dirfd, name}, &info);
        if (!found) {
            m_isComplete = m_isComplete && found.error() == ENOENT;
            return;
        }
        type = typeOf(info.st_mode);
    }

    ListedEntry entry;
    entry.isLink = type == DT_LNK;
    if (entry.isLink) {
        if (const Result found = status({dirfd, name}, &info); !found) {
            // A target that this user may not look up is as good as missing, as it is for QDir.
            m_isComplete = m_isComplete && (meansMissing(found) || found.error() == EACCES);
            return;
        }
        entry.kind = kindOf(info.st_mode);
    } else if (type == DT_REG || type == DT_DIR) {
        entry.kind = type == DT_REG ? EntryKind::File : EntryKind::Folder;
    } else {
        return;
    }

    if (keep == Keep::Folders && (entry.isLink || entry.kind != EntryKind::Folder)) {
        ++m_passedOver;
        return;
    }
    entry.name = m_names.size();
    entry.sortKey = 0; // walks without an order need none
    m_names.insert(m_names.end(), name, name + std::strlen(name) + 1);
    m_entries.push_back(entry);
}

/// QDir compares lower-case forms by UTF-16 code units. For ASCII names comparing bytes is the same and needs
/// no conversion. Equal forms, which QDir leaves in no certain order, are ordered by their bytes.
void DirectoryListing::sortByName()
{
    if (std::all_of(m_names.begin(), m_names.end(), [](char byte) { return !(byte & '\x80'); })) {
        for (ListedEntry &entry : m_entries)
            entry.sortKey = sortKeyOf(nameOf(entry));
        std::sort(m_entries.begin(), m_entries.end(), [this](const ListedEntry &a, const ListedEntry &b) {
            if (a.sortKey != b.sortKey)
                return a.sortKey < b.sortKey;
            const int order = compareIgnoringAsciiCase(nameOf(a), nameOf(b));
            return order != 0 ? order < 0 : std::strcmp(nameOf(a), nameOf(b)) < 0;
        });
        return;
    }
    std::vector<std::pair<QString, ListedEntry>> keyed;
    keyed.reserve(m_entries.size());
    for (const ListedEntry &entry : m_entries)
        keyed.emplace_back(textName(nameOf(entry)).toLower(), entry);
    std::sort(keyed.begin(), keyed.end(), [this](const auto &a, const auto &b) {
        const int order = a.first.compare(b.first);
        return order != 0 ? order < 0 : std::strcmp(nameOf(a.second), nameOf(b.second)) < 0;
    });
    std::transform(keyed.begin(), keyed.end(), m_entries.begin(),
                   [](const auto &pair) { return pair.second; });
}

void DirectoryListing::sortAs(QDir::SortFlags flags, int dirfd)
{
    const QStringList names = QDir(QStringLiteral("/proc/self/fd/%1").arg(dirfd))
                                  .entryList(QDir::Dirs | QDir::Files | QDir::NoDotAndDotDot, flags);
    QHash<QString, qsizetype> position;
    for (const QString &name : names)
        position.insert(name, position.size());
    std::stable_sort(m_entries.begin(), m_entries.end(), [&](const ListedEntry &a, const ListedEntry &b) {
        return position.value(textName(nameOf(a)), names.size()) <
               position.value(textName(nameOf(b)), names.size());
    });
}

} // namespace TesCoreFiles
