// The examples of the page "External programs". Compiled with the tests.
#include <TesCore/TESProcess.h>

#include <QDebug>

bool archive(const QString &folder)
{
    //! [run]
    const QString command = QStringLiteral("tar -cf pages.tar \"%1\"").arg(folder);
    const TESProcess::Result result = TESProcess::executeProcess(command, 60000, QStringLiteral("/tmp"));
    if (result.processError != QProcess::UnknownError || result.exitCode != 0) {
        qWarning().noquote() << result.dump(); // everything known about the run, outputs included
        return false;
    }
    //! [run]
    return true;
}
