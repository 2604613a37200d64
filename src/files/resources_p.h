#ifndef TESCORE_RESOURCES_P_H
#define TESCORE_RESOURCES_P_H

#include "at_p.h"

#include <base/descriptor_p.h>

#include <QDir>

/// \file resources_p.h
/// What the operations do with Qt's resources, by plain Qt calls: they are compiled into the program, small,
/// and never written.

namespace TesCoreFiles {

/// The content of a resource that is a file: QFile opens folders, too, as if they were empty files.
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
