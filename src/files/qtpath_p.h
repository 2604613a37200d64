#ifndef TESCORE_QTPATH_P_H
#define TESCORE_QTPATH_P_H

#include "at_p.h"

#include <base/descriptor_p.h>

#include <QDir>

/// \file qtpath_p.h
/// Paths that mean something to Qt's file classes and nothing to the kernel: resources (":/help.txt"), and
/// names behind a prefix of QDir::searchPaths() ("help:start.txt"), which may be resources in turn.

namespace TesCoreFiles {

using namespace TesCoreBase;

/// nativePath() of the entry on disk for which Qt's file classes take `path`. Null, and ENOENT, for a
/// resource.
QByteArray diskPath(const QString &path, Result *why = nullptr);

/// Whether Qt's file classes take `path` for a resource, be it there or not. A file on disk whose relative
/// path begins with ":" is out of their reach, too.
bool isResource(const QString &path);
bool isResourceFolder(const QString &path);

/// What QFileInfo::exists() tells, for paths of any length.
bool exists(const QString &path);

/// The content of a resource, as a file in memory. A resource is never opened for anything but reading.
/// `*error` (which may be null) is the text that QFile gives.
Descriptor openResource(const QString &path, QIODevice::OpenMode mode, QString *error);

} // namespace TesCoreFiles

#endif
