#include <TesCore/TESTempFolder.h>

#include <TesCore/TESCoreUtil.h>

#include <QThreadPool>

TESTempFolder::TESTempFolder(bool create, bool autoDelete)
    : m_autoDelete(autoDelete), m_path(TESCoreUtil::GetNewTempFolderPath(create))
{
}

TESTempFolder::~TESTempFolder()
{
    if (!m_autoDelete)
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
