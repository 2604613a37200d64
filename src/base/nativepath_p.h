#ifndef TESCORE_NATIVEPATH_P_H
#define TESCORE_NATIVEPATH_P_H

#include "result_p.h"

#include <QByteArray>
#include <QString>

namespace TesCoreBase {

/// The bytes that name `path` to the kernel, or a null array where no entry can have that name. `*why` (may
/// be null) tells the reason: the path is empty (ENOENT), holds a NUL (EINVAL), or the locale cannot encode
/// it (EILSEQ), so that a conversion would silently name another entry.
QByteArray nativePath(const QString &path, Result *why = nullptr);

/// What QFile::encodeName() makes of `path`, also while static objects are destroyed.
QByteArray encodedName(const QString &path);

/// The text form of a name read from the disk. Bytes that the locale cannot decode become U+FFFD.
QString textName(const char *name);

/// The description that Qt's file classes give for an error number.
QString errorText(int errorNumber);

} // namespace TesCoreBase

#endif
