#include <TesCore/TESProcess.h>

#include <support/tree.h>

#include <QtTest>

#include <array>
#include <future>

#include <csignal>
#include <cstddef>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace TESProcess;

namespace {

const bool isEmulated = qEnvironmentVariableIsSet("EMULATED"); // see tools/in-root
volatile std::sig_atomic_t hasBeenTold = 0;
bool waitsForWord = false;

} // namespace

/// Stands before the C library's: the moment that a program gets to end by itself, as long as it takes here.
extern "C" int sched_yield()
{
    for (int i = 0; waitsForWord && !hasBeenTold && i < 10000; ++i)
        ::usleep(1000);
    return 0;
}

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

/// With the system call for it refused, as older kernels do: it runs to an end, and into a time-out.
int runOnAnOldKernel()
{
    sock_filter lines[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_pidfd_open, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter{std::size(lines), lines};
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0 ||
        ::syscall(SYS_pidfd_open, getpid(), 0) != -1)
        return 1;
    const QString ends = told(executeProcess(behaving("out=abc err=de exit=3"), 20000));
    return fputs(qPrintable(ends + QStringLiteral("; ") + told(executeProcess(behaving("sleep=1000"), 100))),
                 stdout) < 0;
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
        if (result.exitCode == SIGABRT && isEmulated)
            QSKIP("the emulator prints a line of its own when a program crashes");
        QTEST(told(result), "expected");
        QCOMPARE(result.exitStatus == QProcess::CrashExit, result.processError == QProcess::Crashed);
        QCOMPARE(result.commandLine, line);
        QVERIFY(result.stdOut.capacity() < 4096);
        QVERIFY(result.stdErr.capacity() < 4096);
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
        if (isEmulated)
            QSKIP("the emulator makes vfork() a fork(): posix_spawn() does not tell that it failed");
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
        QVERIFY(timer.elapsed() >= timeout);
        QVERIFY(timer.elapsed() < timeout + 10000);
        QVERIFY(told(result).startsWith(QLatin1String("0 Timedout ")));
        QCOMPARE(result.exitStatus, QProcess::NormalExit);
        QCOMPARE(waitpid(-1, nullptr, WNOHANG), -1);
        if (result.stdOut.toInt() > 0)
            QTRY_COMPARE(stateOf(result.stdOut), QByteArray("Z"));
    }

    void timeOutAsksTheProgramToEnd()
    {
        std::signal(SIGUSR1, [](int) { hasBeenTold = 1; });
        hasBeenTold = 0;
        waitsForWord = true;
        const Result result = executeProcess(behaving("tellterm sleep=1000"), 500);
        waitsForWord = false;
        QCOMPARE(result.processError, QProcess::Timedout);
        QVERIFY(hasBeenTold);
    }

    /// Kernels before 5.3 cannot wake the library at the program's end.
    void withoutNotificationTheEndIsLookedFor()
    {
        if (isEmulated)
            QSKIP("the emulator refuses filters of system calls");
        QElapsedTimer timer;
        timer.start();
        const Result result = executeProcess(self() + QStringLiteral("--old-kernel"), 60000);
        QCOMPARE(result.stdOut, QByteArray("3 UnknownError abc/de; 0 Timedout /"));
        QVERIFY(timer.elapsed() < 30000);
    }

    void whoCannotBeKilledIsNotWaitedFor()
    {
        if (::geteuid() != 0)
            QSKIP("only root can make a program that becomes another user");
        const QTemporaryDir folder;
        const QString program = folder.filePath(QStringLiteral("behave"));
        QVERIFY(QFile::copy(QStringLiteral(BEHAVE_PROGRAM), program));
        QVERIFY(::chmod(qPrintable(folder.path()), 0755) == 0);
        QVERIFY(::chmod(qPrintable(program), 04755) == 0);
        QElapsedTimer timer;
        timer.start();
        Result result;
        {
            const AsOrdinaryUser user;
            result =
                executeProcess(QLatin1Char('"') + program + QStringLiteral("\" becomeroot sleep=20"), 300);
        }
        const auto elapsed = timer.elapsed();
        const pid_t left = result.stdOut.toInt();
        if (left <= 0)
            QSKIP("programs become no other user on this file system, or under this emulator");
        QCOMPARE(::kill(left, SIGKILL), 0);
        QCOMPARE(::waitpid(left, nullptr, 0), left);
        QCOMPARE(result.processError, QProcess::Timedout);
        QVERIFY(elapsed < 15000);
    }

    void backgroundChildNeitherDelaysNorEndsWithTheProgram()
    {
        const Result result = executeProcess(behaving("sleeper exit=4"));
        QCOMPARE(result.exitCode, 4);
        // Never 0 or -1, which stand for more than one process.
        QVERIFY(result.stdOut.toInt() > 0);
        QVERIFY(::kill(result.stdOut.toInt(), SIGKILL) == 0);
    }

    void runsInThreadsShareNothingAndLeaveNothing()
    {
        const auto descriptors = [] { return QDir(QStringLiteral("/proc/self/fd")).count(); };
        const auto before = descriptors();
        // One that an emulator's posix_spawn() need not find missing.
        const QString missing = QLatin1String(isEmulated ? "no-such-program" : "/no");
        const auto countWrong = [missing](int id) {
            int wrong = 0;
            for (int run = 0; run < 250; ++run)
                wrong += executeProcess(QStringLiteral("sh -c \"exit %1\"").arg(id)).exitCode != id ||
                         executeProcess(missing).processError != QProcess::FailedToStart;
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
        return argc == 2                               ? runWithoutStreams()
               : qstrcmp(argv[2], "--old-kernel") == 0 ? runOnAnOldKernel()
                                                       : printReport();
    TestProcess test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_process.moc"
