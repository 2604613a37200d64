#include <TesCore/TESTempFolder.h>

#include <TesCore/TESCoreUtil.h>

#include <QCoreApplication>
#include <QThreadPool>

#include <unistd.h>

namespace {

/// The application takes the pool along at its end, and the static object that says so is destroyed later
/// while others may still follow: after that, QThreadPool::globalInstance() reads freed memory. Tasks for
/// which the ending application waits still have their pool; they run in other threads.
bool isPoolGone()
{
    return QCoreApplication::closingDown() && ::gettid() == ::getpid();
}

} // namespace

TESTempFolder::TESTempFolder(bool create, bool autoDelete)
    : m_autoDelete(autoDelete), m_path(TESCoreUtil::GetNewTempFolderPath(create))
{
}

TESTempFolder::~TESTempFolder()
{
    if (!m_autoDelete || isPoolGone())
        return;
    if (QThreadPool *pool = QThreadPool::globalInstance())
        pool->start([path = m_path] { TESCoreUtil::DeleteFolderAndFiles(path); });
}

bool TESTempFolder::isAutoDelete() const
{
    return m_autoDelete;
}

void TESTempFolder::setAutoDelete(bool autoDelete)
{
    m_autoDelete = autoDelete;
}

const QString &TESTempFolder::path() const
{
    return m_path;
}
