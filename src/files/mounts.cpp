#include "mounts_p.h"

#include <QFile>

#include <utility>

#include <sys/sysmacros.h>

namespace TesCoreFiles {

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

} // namespace TesCoreFiles
