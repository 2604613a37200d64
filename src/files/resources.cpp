#include "resources_p.h"

#include "filecopy_p.h"
#include "path_p.h"
#include "qtpath_p.h"
#include "targettree_p.h"

#include <base/nativepath_p.h>

namespace TesCoreFiles {

namespace {

constexpr mode_t kNewFolder = S_IRWXU | S_IRWXG | S_IRWXO; // less the umask

} // namespace

Descriptor openResourceFile(const QString &path)
{
    return QFileInfo(path).isFile() ? openResource(path, QIODevice::ReadOnly, nullptr)
                                    : Descriptor(Result(ENOENT));
}

bool deleteResource(const QString &path, QString *error)
{
    QFile resource(path);
    if (!resource.exists() || resource.remove())
        return true;
    if (error)
        *error = resource.errorString();
    return false;
}

Result copyResource(const QString &path, At to)
{
    const Descriptor file = openResourceFile(path);
    const DescriptorPath from(file.get());
    return file.isOpen() ? FileCopy(Carry::Permissions).copy({AT_FDCWD, from.text()}, to) : file.result();
}

QFileInfoList resourcesIn(const QDir &folder)
{
    return folder.entryInfoList(QDir::Dirs | QDir::Files | QDir::NoDotAndDotDot, QDir::NoSort);
}

// NOLINTBEGIN(misc-no-recursion): as deep as somebody has written into a list of resources
bool copyResources(const QDir &source, const QByteArray &destination, OnFailure onFailure)
{
    const QFileInfoList entries = resourcesIn(source);
    for (const QFileInfo &entry : entries) {
        const QByteArray path = destination + '/' + encodedName(entry.fileName());
        const Path to(path);
        Result done;
        if (!entry.isDir()) {
            done = copyResource(entry.filePath(), to.at());
        } else {
            done = onFailure == OnFailure::GoOn ? makeFolders(path, kNewFolder)
                                                : makeFolder(to.at(), kNewFolder);
            QDir folder = source;
            if (done && !(folder.cd(entry.fileName()) && copyResources(folder, path, onFailure)))
                done = Result(ENOENT);
        }
        if (!done && onFailure == OnFailure::Stop)
            return false;
    }
    return true;
}

QStringList resourceFilesBelow(const QDir &folder)
{
    QStringList files;
    const QFileInfoList entries = resourcesIn(folder);
    for (const QFileInfo &entry : entries)
        files +=
            entry.isFile() ? QStringList(entry.absoluteFilePath()) : resourceFilesBelow(entry.filePath());
    return files;
}

int countResourcesBelow(const QDir &folder)
{
    int count = 0;
    const QFileInfoList entries = resourcesIn(folder);
    for (const QFileInfo &entry : entries)
        count += 1 + (entry.isDir() ? countResourcesBelow(entry.filePath()) : 0);
    return count;
}
// NOLINTEND(misc-no-recursion)

} // namespace TesCoreFiles
