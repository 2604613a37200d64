#ifndef TESCORE_OVERLAP_P_H
#define TESCORE_OVERLAP_P_H

#include <QByteArray>

namespace TesCoreFiles {

/// Whether making entries below the folder `destination` would make them in `source` itself, by whatever
/// links and mounts. True too when that is unknown: what must not happen inside must not happen then.
bool leadsInto(const QByteArray &destination, const QByteArray &source);

/// Whether one of two existing folders is in the tree of the other.
bool overlap(const QByteArray &a, const QByteArray &b);

} // namespace TesCoreFiles

#endif
