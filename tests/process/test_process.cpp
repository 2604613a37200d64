#include <TesCore/TESProcess.h>

#include <QtTest>

#include <array>
#include <future>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

using namespace TESProcess;

namespace {

QString behaving(const char *arguments)
{
    return QStringLiteral("\"" BEHAVE_PROGRAM "\" ") + QLatin1String(arguments);
}

/// The command line of this program as its own child.
QString self()
{
    return QStringLiteral("\"%1\" --child ").arg(QCoreApplication::applicationFilePath());
}

QString told(const Result &result)
{
    return QString::number(result.exitCode) + QLatin1Char(' ') + toString(result.processError) +
           QLatin1String(' ' + result.stdOut + '/' + result.stdErr);
}

/// What this program does as its own child without an argument: it runs another where the descriptors of the
/// standard streams are free.
int runWithoutStreams()
{
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream)
        ::close(stream);
    return told(executeProcess(behaving("out=a err=b readinput"))) != QLatin1String("0 UnknownError a-1/b");
}

/// And with one: it prints the report of a run.
int printReport()
{
    return fputs(qPrintable(executeProcess(behaving("out=%1\"\"\"%5 zero out=b")).dump()), stdout) < 0;
}

/// The letter of a process's state; that of a dead one when it is gone.
QByteArray stateOf(const QByteArray &pid)
{
    const Result stat = executeProcess(QStringLiteral("cat /proc/%1/stat").arg(QLatin1String(pid)));
    return stat.stdOut.split(' ').value(2, "Z");
}

} // namespace

class TestProcess : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void runTellsItsEnd_data()
    {
        for (const char *column : {"line", "expected"})
            QTest::addColumn<QString>(column);
        const auto row = [](const char *name, const QString &line, const char *expected) {
            QTest::newRow(name) << line << QString::fromLatin1(expected);
        };
        const char *failed = "0 FailedToStart /";
        row("the exit code and both outputs", behaving("out=abc err=de exit=3"), "3 UnknownError abc/de");
        row("a crash comes back as its signal", behaving("out=abc signal=6"), "6 Crashed abc/");
        row("SIGPIPE is not ignored as here", behaving("signal=13"), "13 Crashed /");
        row("marks hold an argument together", behaving("\"out=a  \"\"\"b\""), "0 UnknownError a  \"b/");
        row("the input is at its end", behaving("readinput"), "0 UnknownError -1/");
        row("the program leads a group", behaving("leader"), "0 UnknownError 1/");
        row("a bare name is looked up", QStringLiteral("printf abc"), "0 UnknownError abc/");
        row("an application without standard streams", self(), "0 UnknownError /");
        row("no program at all", QString(), failed);
        row("a name that is nowhere", QStringLiteral("no-such-program"), failed);
        row("a NUL in the name", QStringLiteral("prin") + QChar::Null + QStringLiteral("tf"), failed);
        row("a NUL in an argument", QStringLiteral("printf a") + QChar::Null, failed);
    }

    void runTellsItsEnd()
    {
        QFETCH(QString, line);
        const Result result = executeProcess(line);
        QTEST(told(result), "expected");
        QCOMPARE(result.exitStatus == QProcess::CrashExit, result.processError == QProcess::Crashed);
        QCOMPARE(result.commandLine, line);
        QVERIFY(result.stdOut.capacity() < 4096 && result.stdErr.capacity() < 4096);
    }

    void largeOutputsComeWhole()
    {
        const Result result = executeProcess(behaving("mebibytes=64 zero out=end"));
        QCOMPARE(result.stdOut, QByteArray(64 << 20, 'x').append('\0').append("end"));
        QCOMPARE(result.stdErr, QByteArray(64 << 20, 'x'));
    }

    void runStartsInItsFolder()
    {
        const QString line = QStringLiteral("pwd"), folder = QStringLiteral("/proc");
        const Result result = executeProcess(line, -1, folder);
        QCOMPARE(result.stdOut, QByteArray("/proc\n"));
        QCOMPARE(result.workingDir, folder);
        for (const QString &missing : {folder + QStringLiteral("/missing"), folder + QChar::Null})
            QCOMPARE(executeProcess(line, -1, missing).processError, QProcess::FailedToStart);
    }

    void timeOutLeavesNothingRunning_data()
    {
        QTest::addColumn<int>("timeout");
        QTest::newRow("ignoreterm sleep=1000") << 200;
        QTest::newRow("sleeper sleep=1000") << 300;
        QTest::newRow("sleeper=owngroup sleep=1000") << 300;
        QTest::newRow("sleep=1000") << 0;
        QTest::newRow("mebibytes=900000") << 100;
    }

    void timeOutLeavesNothingRunning()
    {
        QFETCH(int, timeout);
        QElapsedTimer timer;
        timer.start();
        const Result result = executeProcess(behaving(QTest::currentDataTag()), timeout);
        QVERIFY(timer.elapsed() >= timeout && timer.elapsed() < timeout + 10000);
        QVERIFY(told(result).startsWith(QLatin1String("0 Timedout ")));
        QCOMPARE(result.exitStatus, QProcess::NormalExit);
        QCOMPARE(waitpid(-1, nullptr, WNOHANG), -1);
        if (result.stdOut.toInt() > 0)
            QTRY_COMPARE(stateOf(result.stdOut), QByteArray("Z"));
    }

    void timeOutAsksTheProgramToEnd()
    {
        static volatile std::sig_atomic_t asked = 0;
        std::signal(SIGUSR1, [](int) { asked = 1; });
        // Nobody waits for the program to take notice; most times it does.
        for (int run = 0; run < 50 && !asked; ++run)
            executeProcess(behaving("tellterm sleep=1000"), 50);
        QVERIFY(asked);
    }

    void backgroundChildNeitherDelaysNorEndsWithTheProgram()
    {
        const Result result = executeProcess(behaving("sleeper exit=4"));
        QCOMPARE(result.exitCode, 4);
        // Never 0 or -1, which stand for more than one process.
        QVERIFY(result.stdOut.toInt() > 0 && ::kill(result.stdOut.toInt(), SIGKILL) == 0);
    }

    void runsInThreadsShareNothingAndLeaveNothing()
    {
        const auto descriptors = [] { return QDir(QStringLiteral("/proc/self/fd")).count(); };
        const auto before = descriptors();
        const auto countWrong = [](int id) {
            int wrong = 0;
            for (int run = 0; run < 250; ++run)
                wrong += executeProcess(QStringLiteral("sh -c \"exit %1\"").arg(id)).exitCode != id ||
                         executeProcess(QStringLiteral("/no")).processError != QProcess::FailedToStart;
            return wrong;
        };
        std::array<std::future<int>, 4> threads;
        for (int id = 0; id < 4; ++id)
            threads[id] = std::async(std::launch::async, countWrong, id);
        for (std::future<int> &thread : threads)
            QCOMPARE(thread.get(), 0);
        QCOMPARE(descriptors(), before);
        QCOMPARE(waitpid(-1, nullptr, WNOHANG), -1);
    }

    void extractAndReportAProcessOfTheCaller()
    {
        QProcess process;
        QCOMPARE(told(extractResult(process, QString())), QStringLiteral("0 UnknownError /"));
        process.start(QStringLiteral("/no/such"), QStringList());
        process.waitForStarted();
        QCOMPARE(told(extractResult(process, QString())), QStringLiteral("0 FailedToStart /"));
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.setWorkingDirectory(QStringLiteral("/"));
        process.setEnvironment({QStringLiteral("A=%1"), QStringLiteral("B=")});
        process.start(QStringLiteral(BEHAVE_PROGRAM), {QStringLiteral("err=ab"), QStringLiteral("exit=3")});
        process.waitForFinished();
        Result result = extractResult(process, QStringLiteral("%3%8"));
        QCOMPARE(told(result), QStringLiteral("3 UnknownError ab/"));

        volatile int beyond = 9;
        result.stdOut = QByteArray::fromRawData("%2\xe9\0x", 5);
        result.stdErr = QByteArray::fromRawData("end!", 3);
        result.processError = QProcess::ProcessError(int(beyond));
        result.exitStatus = QProcess::ExitStatus(int(beyond));
        const char *report =
            "TESProcess Result\nCommand Line: %3%8\nExit Code: 3\nstdout: %2\xe9\nstderr: end\n"
            "Exit Status: Not defined QProcess::ExitStatus\nProcess Err: Not defined "
            "QProcess::ProcessError\nWorking Dir: /\nEnvironment: A=%1;B=";
        QCOMPARE(result.dump(), QLatin1String(report));
    }

    void everyRunIsReportedOnRequest()
    {
        const auto messages = [&](const char *argument) {
            const Result run = executeProcess(self() + QLatin1String(argument));
            return run.stdErr == "debug: \"" + run.stdOut + "\" \n" ? 1 : int(run.stdErr.size());
        };
        QCOMPARE(messages("--verbosetesprocess"), 1);
        QCOMPARE(messages("--VerboseTesProcess"), 0);
        QCOMPARE(messages("--verbosetesprocess=1"), 0);
    }
};

int main(int argc, char **argv)
{
    std::signal(SIGPIPE, SIG_IGN);
    qputenv("QT_MESSAGE_PATTERN", "%{type}: %{message}");
    qputenv("QT_FATAL_WARNINGS", "1"); // nothing here may make Qt warn
    const QCoreApplication application(argc, argv);
    if (argc > 1 && qstrcmp(argv[1], "--child") == 0)
        return argc == 2 ? runWithoutStreams() : printReport();
    TestProcess test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_process.moc"
