#include <TesCore/TESProcess.h>

#include <base/enumvalue_p.h>

#include <array>
#include <cstring>

namespace TESProcess {

namespace {

using TesCoreBase::enumValue;

constexpr std::array<const char *, 2> statusWords{"Normal Exit", "Crash Exit"};
constexpr std::array<const char *, 6> errorWords{"FailedToStart", "Crashed",    "Timedout",
                                                 "ReadError",     "WriteError", "UnknownError"};
static_assert(QProcess::CrashExit == 1 && QProcess::UnknownError == 5, "the words stand in Qt's order");

template <size_t Count>
QString word(const std::array<const char *, Count> &words, unsigned value, const char *otherwise)
{
    return QLatin1String(value < Count ? words[value] : otherwise);
}

// By reference: copying a value beyond the enumeration's range would be undefined.
QString statusWord(const QProcess::ExitStatus &status)
{
    return word(statusWords, enumValue(status), "Not defined QProcess::ExitStatus");
}

QString errorWord(const QProcess::ProcessError &error)
{
    return word(errorWords, enumValue(error), "Not defined QProcess::ProcessError");
}

QString upToZero(const QByteArray &bytes)
{
    const char *begin = bytes.constData();
    return QLatin1String(begin, begin + strnlen(begin, size_t(bytes.size())));
}

} // namespace

QString toString(QProcess::ExitStatus status)
{
    return statusWord(status);
}

QString toString(QProcess::ProcessError error)
{
    return errorWord(error);
}

QString Result::dump() const
{
    // One call, so that a "%1" inside a field stays what it is.
    return QStringLiteral("TESProcess Result\nCommand Line: %1\nExit Code: %2\nstdout: %3\nstderr: %4\n"
                          "Exit Status: %5\nProcess Err: %6\nWorking Dir: %7\nEnvironment: %8")
        .arg(commandLine, QString::number(exitCode), upToZero(stdOut), upToZero(stdErr),
             statusWord(exitStatus), errorWord(processError), workingDir, environment.join(QLatin1Char(';')));
}

Result extractResult(QProcess &process, const QString &commandLine)
{
    Result result;
    result.commandLine = commandLine;
    result.workingDir = process.workingDirectory();
    result.environment = process.processEnvironment().toStringList();
    // Qt warns about reading a process that was never opened for it, and Qt 6 about errors that went to the
    // output.
    if (process.isReadable()) {
        result.stdOut = process.readAllStandardOutput();
        if (process.processChannelMode() != QProcess::MergedChannels)
            result.stdErr = process.readAllStandardError();
    }
    // After a failed start Qt's exit code is that of the child which could not become the program.
    const bool ended = process.state() == QProcess::NotRunning && process.error() != QProcess::FailedToStart;
    result.exitCode = ended ? process.exitCode() : 0;
    result.processError = process.error();
    result.exitStatus = process.exitStatus();
    return result;
}

} // namespace TESProcess
