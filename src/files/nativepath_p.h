#ifndef TESCORE_NATIVEPATH_P_H
#define TESCORE_NATIVEPATH_P_H

#include <QByteArray>
#include <QString>

namespace TesCoreFiles {

/// The bytes that name `path` to the kernel, or a null array (and errno set) when no entry can have that
/// name: it is empty (ENOENT), holds a NUL (EINVAL), or the locale cannot encode it (EILSEQ), where a
/// conversion would silently name another entry.
QByteArray nativePath(const QString &path);

/// What QFile::encodeName() makes of `path`, also while static objects are destroyed.
QByteArray encodedName(const QString &path);

/// The text form of a name read from the disk. Bytes that the locale cannot decode become U+FFFD.
QString textName(const char *name);

/// The description that Qt's file classes give for an error number.
QString errorText(int errorNumber);

} // namespace TesCoreFiles

#endif
