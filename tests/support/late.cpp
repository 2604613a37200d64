// What an application may still do while its static objects are destroyed, when Qt's thread pool and codecs
// are gone already: drop temporary folders, and save and read a text under any name.

#include <TesCore/TESCoreUtil.h>
#include <TesCore/TESTempFolder.h>

#include <QCoreApplication>
#include <QDir>
#include <QThread>
#include <QThreadPool>

#include <cstdlib>
#include <memory>

#include <unistd.h>

namespace {

struct Settings
{
    ~Settings()
    {
        using namespace TESCoreUtil;
        const QString text = QString(30000, QChar(0xe4)) + QStringLiteral("\r\n");
        QString error;
        const bool isSaved = WriteUnicodeTextFile(text, path, &error) &&
                             ReadBinaryFile(path).size() == 60002 &&
                             ReadUnicodeTextFile(path, &error) == text &&
                             ReadUnicodeTextFile(path, &error, nullptr, true).size() == 30001;
        // What main() wrote has to go, not an entry that is named likewise.
        if (!DeleteFile(path) || !isSaved || ::access(path.toUtf8().constData(), F_OK) == 0 ||
            ::rmdir(root.constData()) != 0)
            std::_Exit(1);
    }

    QString path;
    QByteArray root;
    std::unique_ptr<TESTempFolder> scratch;
};

} // namespace

int main(int argc, char **argv)
{
    static Settings settings; // made before the pool and the codecs, and so destroyed after them
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(TESCoreUtil::CreateUUID());
    settings.root = TESCoreUtil::GetTessarineTempPath().toUtf8();
    static const TESTempFolder folder(false, true);
    settings.scratch = std::make_unique<TESTempFolder>(false, true);
    {
        const TESTempFolder first(false, true); // for this one there is a pool
    }
    // So there is for a task that drops its folder while the application, at its end, waits for the task.
    QThreadPool::globalInstance()->start([] {
        const TESTempFolder last(true, true);
        while (!QCoreApplication::closingDown())
            QThread::yieldCurrentThread();
    });
    while (::access(settings.root.constData(), F_OK) != 0)
        QThread::yieldCurrentThread();
    settings.path = QDir::tempPath() + QStringLiteral("/t\u00e4xt-") + TESCoreUtil::CreateUUID();
    return TESCoreUtil::WriteBinaryFile("old", settings.path) ? 0 : 1;
}
