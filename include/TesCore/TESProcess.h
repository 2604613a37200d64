#ifndef TESCORE_TESPROCESS_H
#define TESCORE_TESPROCESS_H

/// \file TESProcess.h
/// Runs an external program to its end, with a time limit, and hands back everything known about the run.
///
/// \code
/// const QString line = QStringLiteral("tar -xf \"my files.tar\"");
/// const TESProcess::Result result = TESProcess::executeProcess(line, 10000);
/// if (result.processError != QProcess::UnknownError || result.exitCode != 0)
///     showMessage(result.dump());
/// \endcode
///
/// An application that was started with the argument "--verbosetesprocess" (exactly so) gets the report of
/// every run as one debug message: a double quotation mark, Result::dump(), a double quotation mark, a blank.
///
/// All functions are reentrant and keep no state.

#include <TesCore/TesCoreGlobal.h>

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>

namespace TESProcess {

/// What is known about a run. Which one succeeded is told by three fields together:
///
///                                   exitCode   exitStatus    processError
///     ended by itself               its code   NormalExit    UnknownError (Qt's word for "none")
///     crashed, killed by a signal   signal     CrashExit     Crashed
///     could not be started          0          NormalExit    FailedToStart
///     outlived the time limit       0          NormalExit    Timedout
struct Result
{
    /// The exit code; the signal's number after a crash; 0 when the program never started or has not ended.
    int exitCode = 0;
    /// All bytes read from the standard output.
    QByteArray stdOut;
    /// All bytes read from the standard error.
    QByteArray stdErr;
    /// How the program ended.
    QProcess::ExitStatus exitStatus = QProcess::NormalExit;
    /// The last error; QProcess::UnknownError when there was none.
    QProcess::ProcessError processError = QProcess::UnknownError;
    /// The command line as it was given.
    QString commandLine;
    /// The working folder as it was given, empty when none was.
    QString workingDir;
    /// The environment set on the process object, each entry as "NAME=value"; empty when none was set.
    QStringList environment;

    /// All fields as a text of several lines without a line feed at its end. The two outputs are read as
    /// Latin-1 and stand there up to their first zero byte.
    TESCORE_EXPORT QString dump() const;
};

/// Runs the program that `commandLine` names, with the arguments that follow it, and waits for its end.
///
/// - The command line is split at blanks as by QProcess::splitCommand(); double quotation marks hold an
///   argument together, three in a row stand for one. No shell is involved. A program without "/" is looked
///   up in the folders of PATH.
/// - `timeout` is the time for the run in milliseconds. With 0 the program is started and, unless it has
/// ended
///   by then, ended at once; a negative one sets no limit.
/// - `workingDir` is the folder that the program starts in; empty for the current one.
///
/// The program inherits the environment, reads end-of-file from its standard input, and leads a process group
/// of its own. The run is over when the program itself ends: what it left behind in the background goes on.
///
/// When the time is over, the program is asked to end (SIGTERM) and, without a pause for its answer, killed
/// with its group and all its descendants; the result holds the output until that moment. Out of reach is
/// only what had left both the group and the family before (a daemon), and what runs as another user. Ending
/// takes well below a millisecond for each process, but 200 ms for one that the kernel holds up. The time
/// begins when the program runs: it does not bound a start that hangs, as on a network file system that
/// does not answer.
///
/// FailedToStart tells that there is no such program or folder, that it may not be run, or that the command
/// line is empty or holds a NUL character. Of an output beyond the capacity of QByteArray the rest is
/// dropped, with the error QProcess::ReadError. An application that ignores SIGCHLD, or reaps every child of
/// the process itself, leaves it unknown how a program ended: it gets a crash with the exit code 0.
///
/// Blocks the calling thread, which needs no event loop.
TESCORE_EXPORT Result executeProcess(const QString &commandLine, int timeout = 30000,
                                     const QString &workingDir = QString());

/// What is known about the run of `process`, which the caller started: its fields as they stand, the output
/// that it has read and not yet handed out, and `commandLine` as given. Neither waits nor stops anything.
/// Call it on the thread that owns `process`.
TESCORE_EXPORT Result extractResult(QProcess &process, const QString &commandLine);

/// `NormalExit => "Normal Exit"`, `CrashExit => "Crash Exit"`, any other number
/// `=> "Not defined QProcess::ExitStatus"`.
TESCORE_EXPORT QString toString(QProcess::ExitStatus status);

/// The name of the enumerator, such as "FailedToStart"; any other number
/// `=> "Not defined QProcess::ProcessError"`.
TESCORE_EXPORT QString toString(QProcess::ProcessError error);

} // namespace TESProcess

#endif
