#ifndef TESCORE_TESFILEUTIL_H
#define TESCORE_TESFILEUTIL_H

/// \file TESFileUtil.h
/// Digests and time stamps of files. The functions are reentrant and keep no state.
///
/// \code
/// const QByteArray digest = TESFileUtil::calcChecksum(path, QCryptographicHash::Md5);
/// if (digest.isNull())
///     showMessage(QObject::tr("Cannot read %1").arg(path));
/// else
///     show(digest.toHex());
/// \endcode

#include <TesCore/TesCoreGlobal.h>

#include <QByteArray>
#include <QCryptographicHash>
#include <QString>

class QDateTime;

namespace TESFileUtil {

/// The digest of the whole content of the file `path`: raw bytes, not hexadecimal text (MD5 gives 16, SHA-1
/// gives 20). The content is read in blocks: memory use does not depend on the file's size, which has no
/// limit. Blocks for as long as the file system does.
///
///     an empty file                           => the digest of empty input
///     missing, unreadable, a folder           => a null array
///     a FIFO, a socket, a device              => a null array, without blocking
///     a read that fails midway                => a null array
///     an `algorithm` that Qt does not know    => a null array
///
/// Links are followed; resources (":/help.txt") and prefixes of QDir::searchPaths() are read as QFile reads
/// them. Nothing throws: memory that does not suffice gives a null array, too.
TESCORE_EXPORT QByteArray calcChecksum(const QString &path,
                                       QCryptographicHash::Algorithm algorithm = QCryptographicHash::Sha1);

/// Sets no time stamps on Linux: changes nothing and returns false, whatever the arguments (which may be null
/// or name no file).
TESCORE_EXPORT bool setLastModifiedDateTime(const QString &path, const QDateTime &firstTime,
                                            const QDateTime &secondTime);

} // namespace TESFileUtil

#endif
