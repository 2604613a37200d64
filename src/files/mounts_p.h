#ifndef TESCORE_MOUNTS_P_H
#define TESCORE_MOUNTS_P_H

#include <QByteArray>
#include <QList>

#include <sys/types.h>

namespace TesCoreFiles {

/// What is mounted where, as this process sees it (proc(5), mountinfo).
struct Mount
{
    dev_t device;
    QByteArray point;
    QByteArray type;
};

/// All mounts; none where that is unknown.
QList<Mount> mounts();

/// Whether the ext4 file system on a device keeps no journal, as sysfs tells. False too when that is unknown.
bool isWithoutJournal(dev_t device);

} // namespace TesCoreFiles

#endif
