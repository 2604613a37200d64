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
/// The same for reading a resource that is a file: QFile opens folders, too, as if they were empty files.
Descriptor openResourceFile(const QString &path);

/// Says that a resource cannot be deleted, in QFile's words, and true of one that is not there.
bool deleteResource(const QString &path, QString *error);

/// Copies a resource to the free name `to`.
Result copyResource(const QString &path, At to);

/// What is in a folder of resources, as the trees on disk are listed.
QFileInfoList resourcesIn(const QDir &folder);

enum class OnFailure { Stop, GoOn };

/// Copies what is in a folder of resources into the folder `destination`. Stopping at the first failure it
/// takes a sub-folder that is there for one; going on, it makes all that is missing, `destination` included,
/// with the first sub-folder.
bool copyResources(const QDir &source, const QByteArray &destination, OnFailure onFailure);

QStringList resourceFilesBelow(const QDir &folder);
int countResourcesBelow(const QDir &folder);

} // namespace TesCoreFiles

#endif
