#include <TesCore/TESProcess.h>

#include "childprocess_p.h"

#include <base/nativepath_p.h>

#include <QCoreApplication>
#include <QDebug>
#include <QStandardPaths>

namespace TESProcess {

namespace {

using TesCoreProcess::ChildProcess;

/// The path of the program that a command line names, or a null array when there is none.
QByteArray programPath(const QString &name)
{
    if (name.isEmpty() || name.contains(QLatin1Char('/')))
        return TesCoreBase::nativePath(name);
    return TesCoreBase::nativePath(QStandardPaths::findExecutable(name));
}

bool start(ChildProcess &child, const QString &commandLine, const QString &workingDir)
{
    // What cannot be handed over as it stands would run another command, or in another folder.
    const QByteArray folder = TesCoreBase::nativePath(workingDir);
    if (commandLine.contains(QChar::Null) || folder.isEmpty() != workingDir.isEmpty())
        return false;
    const QStringList words = QProcess::splitCommand(commandLine);
    const QByteArray program = programPath(words.value(0));
    if (program.isEmpty())
        return false;
    QList<QByteArray> arguments;
    for (int i = 1; i < words.size(); ++i)
        arguments.append(TesCoreBase::encodedName(words.at(i)));
    return child.start(program, arguments, folder);
}

void recordEnd(const ChildProcess &child, Result &result)
{
    result.exitCode = child.end.code;
    if (child.end.crashed) {
        result.exitStatus = QProcess::CrashExit;
        result.processError = QProcess::Crashed;
    }
}

void run(int timeout, ChildProcess &child, Result &result)
{
    const QDeadlineTimer deadline =
        timeout < 0 ? QDeadlineTimer(QDeadlineTimer::Forever) : QDeadlineTimer(timeout);
    if (child.waitForEnd(deadline)) {
        recordEnd(child, result);
    } else {
        child.kill();
        result.processError = QProcess::Timedout;
    }
    if (child.output.isTruncated() || child.errors.isTruncated())
        result.processError = QProcess::ReadError;
    result.stdOut = child.output.take();
    result.stdErr = child.errors.take();
}

void report(const Result &result)
{
    if (QCoreApplication::instance() == nullptr ||
        !QCoreApplication::arguments().contains(QLatin1String("--verbosetesprocess")))
        return;
    qDebug().noquote().nospace() << QLatin1Char('"') << result.dump() << QLatin1String("\" ");
}

} // namespace

Result executeProcess(const QString &commandLine, int timeout, const QString &workingDir)
{
    Result result;
    result.commandLine = commandLine;
    result.workingDir = workingDir;
    ChildProcess child;
    if (start(child, commandLine, workingDir))
        run(timeout, child, result);
    else
        result.processError = QProcess::FailedToStart;
    report(result);
    return result;
}

} // namespace TESProcess
