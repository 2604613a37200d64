#ifndef TESCORE_TESTEMPFOLDER_H
#define TESCORE_TESTEMPFOLDER_H

/// \file TESTempFolder.h
/// A temporary folder that deletes itself.
///
/// \code
/// TESTempFolder scratch(true, true);
/// TESCoreUtil::WriteBinaryFile(page, scratch.path() + QStringLiteral("/page.bin"));
/// \endcode

#include <TesCore/TesCoreGlobal.h>

#include <QString>

/// Owns a fresh folder below the application's temporary root, see TESCoreUtil::GetNewTempFolderPath().
///
/// An object is used by one thread at a time. It cannot be copied: each copy would delete the same folder.
class TESCORE_EXPORT TESTempFolder
{
public:
    /// Takes a fresh path, and makes the folder (mode 0700) when `create` is true. A failed creation is not
    /// reported. QCoreApplication must exist.
    explicit TESTempFolder(bool create = true, bool autoDelete = true);

    /// With auto-delete, hands the deletion of the folder to QThreadPool::globalInstance() and returns at
    /// once. Nothing waits for it: it may run at any later moment, and the application sees to it that it is
    /// done before the process ends (QThreadPool::waitForDone()). The folder stays when the pool is gone
    /// already, as for an object that outlives the application (a static one, say), when the process may
    /// start no thread (setrlimit(2), RLIMIT_NPROC), and when hidden files are in it, see
    /// TESCoreUtil::DeleteFolderAndFiles().
    ~TESTempFolder();

    /// Whether the destructor deletes the folder.
    bool isAutoDelete() const;
    /// Decides whether the destructor deletes the folder.
    void setAutoDelete(bool autoDelete);

    /// The folder's path, fixed at construction.
    const QString &path() const;

private:
    Q_DISABLE_COPY(TESTempFolder)

    bool m_autoDelete;
    QString m_path;
};

#endif
