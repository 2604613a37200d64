#include <TesCore/TESTempFolder.h>

#include <TesCore/TESCoreUtil.h>

#include <base/exceptions_p.h>

#include <QCoreApplication>
#include <QThreadPool>

#include <exception>
#include <thread>

#include <unistd.h>

namespace {

/// The application takes the pool along at its end, and the static object that says so is destroyed later
/// while others may still follow: after that, QThreadPool::globalInstance() reads freed memory. Tasks for
/// which the ending application waits still have their pool; they run in other threads.
bool isPoolGone()
{
    return QCoreApplication::closingDown() && ::gettid() == ::getpid();
}

/// Whether a thread can be started now. A pool whose thread cannot be waits for it for ever at the end of the
/// application (seen in Qt 5.15 and 6.4), and offers no way to ask: so one is started here, and gone again.
bool canStartThread()
{
    try {
        std::thread([] {}).join();
        return true;
    } catch (const std::exception &) {
        return false;
    }
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
    QThreadPool *pool = QThreadPool::globalInstance();
    if (pool == nullptr || (pool->activeThreadCount() < pool->maxThreadCount() && !canStartThread()))
        return;
    TesCoreBase::orFailure([&] {
        pool->start([path = m_path] { TESCoreUtil::DeleteFolderAndFiles(path); });
        return true;
    });
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
