#include "mounts_p.h"

#include <base/descriptor_p.h>

#include <QFile>

#include <climits>
#include <cstring>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/sysmacros.h>

namespace TesCoreFiles {

using namespace TesCoreBase;

QList<Mount> mounts()
{
    QList<Mount> all;
    QFile file(QStringLiteral("/proc/self/mountinfo"));
    if (!file.open(QIODevice::ReadOnly))
        return all;
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray &line : lines) {
        // "36 35 98:0 /root /point options optional... - type source options"
        const QList<QByteArray> fields = line.split(' ');
        const QList<QByteArray> device = fields.value(2).split(':');
        QByteArray point = fields.value(4); // blanks and the like are octal numbers
        for (const auto &[code, byte] :
             {std::pair("\\040", " "), {"\\011", "\t"}, {"\\012", "\n"}, {"\\134", "\\"}})
            point.replace(code, byte);
        const auto dash = fields.indexOf("-", 5);
        if (dash > 0)
            all.append({::makedev(device.value(0).toUInt(), device.value(1).toUInt()), point,
                        fields.value(dash + 1)});
    }
    return all;
}

bool isWithoutJournal(dev_t device)
{
    char path[PATH_MAX], disk[PATH_MAX];
    std::snprintf(path, sizeof path, "/sys/dev/block/%u:%u", major(device), minor(device));
    const ssize_t length = ::readlink(path, disk, sizeof disk - 1);
    if (length <= 0)
        return false;
    disk[length] = '\0'; // "../../devices/.../sda1"
    std::snprintf(path, sizeof path, "/sys/fs/ext4%.255s/journal_task", std::strrchr(disk, '/'));
    const Descriptor task(::open(path, O_RDONLY | O_CLOEXEC));
    constexpr std::string_view none = "<none>";
    char text[none.size()] = {};
    std::size_t filled = 0;
    return task.isOpen() && readAll(task.get(), text, sizeof text, &filled) &&
           none == std::string_view(text, filled);
}

} // namespace TesCoreFiles
