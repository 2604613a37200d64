// What an application may still do while its static objects are destroyed, when Qt's thread pool and codecs
// are gone already: drop a temporary folder, and save and read a text.

#include <TesCore/TESCoreUtil.h>
#include <TesCore/TESTempFolder.h>

#include <QThreadPool>

#include <cstdlib>

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
        if (!DeleteFile(path) || !isSaved)
            std::_Exit(1);
    }

    QString path;
};

} // namespace

int main(int, char **argv)
{
    // Made before the pool and the codecs, and so destroyed after them.
    static Settings settings;
    static const TESTempFolder folder(false, true);
    QThreadPool::globalInstance()->start([] {});
    settings.path = TESCoreUtil::CreateTemporaryCopy(QString::fromLocal8Bit(argv[0]));
    return TESCoreUtil::ReadUnicodeTextFile(settings.path).isNull() ? 1 : 0;
}
