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

QString shell(const char *script)
{
    return text("sh -c \"%1\"").arg(text(script));
}

/// The command line of this program as its own child.
QString self(const char *what)
{
    return text("\"%1\" --child %2").arg(QCoreApplication::applicationFilePath(), text(what));
}

QString told(const Result &result)
{
    return QString::number(result.exitCode) + QLatin1Char(' ') + toString(result.processError) +
           QLatin1String(' ' + result.stdOut + '/' + result.stdErr);
}

/// Runs a program where the descriptors of the standard streams are free.
bool runsWithoutStreams()
{
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream)
        ::close(stream);
    return told(executeProcess(shell("printf a; printf b >&2; read x; printf $?"))) ==
           text("0 UnknownError a1/b");
}

/// With the system call for it refused, as older kernels do: it runs to an end, and into a time-out.
QString runOnAnOldKernel()
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
        return text("not refused");
    const QString ends =
        told(executeProcess(shell("printf abc; printf de >&2; sleep 40 & sleep 0.2; exit 3"), 30000));
    return ends + text("; ") + told(executeProcess(text("sleep 1000"), 100));
}

} // namespace

class TestProcess : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void runTellsItsEnd()
    {
        const char *failed = "0 FailedToStart /";
        const std::pair<QString, const char *> rows[] = {
            {shell("printf abc; printf de >&2; exit 3"), "3 UnknownError abc/de"},
            {shell("printf abc; kill -9 $$"), "9 Crashed abc/"}, // the signal
            {shell("kill -13 $$"), "13 Crashed /"},              // SIGPIPE, which is ignored here
            {shell("read x; printf $?"), "0 UnknownError 1/"},   // at the end of the input
            {shell("set $(cat /proc/$$/stat); printf $(($5 == $$))"), "0 UnknownError 1/"},
            {self("--no-streams"), "0 UnknownError /"},
            {text("printf \"a  \"\"\"b\""), "0 UnknownError a  \"b/"}, // a bare name is looked up
            {text(""), failed},
            {text("no-such-program"), failed},
            {text("prin") + QChar::Null + text("tf"), failed},
            {text("printf a") + QChar::Null, failed},
        };
        for (const auto &[line, expected] : rows) {
            const Result result = executeProcess(line);
            QCOMPARE(result.commandLine + text(" gives ") + told(result),
                     line + text(" gives ") + text(expected));
            QCOMPARE(result.exitStatus == QProcess::CrashExit, result.processError == QProcess::Crashed);
            QVERIFY(qMax(result.stdOut.capacity(), result.stdErr.capacity()) < 4096);
        }
    }

    void largeOutputsComeWhole()
    {
        const Result result =
            executeProcess(shell("yes | head -c 67108864 | tee /dev/stderr; printf '\\0end'"));
        const QByteArray much = QByteArray("y\n").repeated(32 << 20);
        QCOMPARE(result.stdOut, much + QByteArray("\0end", 4));
        QCOMPARE(result.stdErr, much);
    }

    void runStartsInItsFolder()
    {
        const Result result = executeProcess(text("pwd"), -1, text("/proc"));
        QCOMPARE(QLatin1String(result.stdOut) + result.workingDir, text("/proc\n/proc"));
        if (isEmulated)
            QSKIP("the emulator makes vfork() a fork(): posix_spawn() does not tell that it failed");
        for (const QString &missing : {text("/proc/missing"), text("/proc") + QChar::Null})
            QCOMPARE(executeProcess(text("pwd"), -1, missing).processError, QProcess::FailedToStart);
    }

    void timeOutLeavesNothingRunning()
    {
        for (const auto &[script, timeout] :
             {std::pair("trap '' TERM; sleep 1000", 200),
              std::pair("trap '' HUP; (sleep 1000 & printf $!); sleep 1000", 300),
              std::pair("setsid sleep 1000 & printf $!; sleep 1000", 300), std::pair("sleep 1000", 0),
              std::pair("yes | tee /dev/stderr", 100)}) {
            const QDeadlineTimer due(timeout), late(timeout + 10000);
            const Result result = executeProcess(shell(script), timeout);
            QVERIFY2(due.hasExpired() && !late.hasExpired(), script);
            QVERIFY2(told(result).startsWith(text("0 Timedout ")), script);
            QCOMPARE(result.exitStatus, QProcess::NormalExit);
            QCOMPARE(waitpid(-1, nullptr, WNOHANG), -1);
            // The letter of its background child's state, which may be gone for good.
            const QString stat = text("cat /proc/%1/stat").arg(result.stdOut.toInt());
            QTRY_COMPARE(executeProcess(stat).stdOut.split(' ').value(2, "Z"), QByteArray("Z"));
        }
    }

    void timeOutAsksTheProgramToEnd()
    {
        std::signal(SIGUSR1, [](int) { hasBeenTold = 1; });
        hasBeenTold = 0;
        waitsForWord = true;
        const Result result = executeProcess(shell("trap 'kill -USR1 $PPID' TERM; sleep 1000 & wait"), 500);
        waitsForWord = false;
        QCOMPARE(result.processError, QProcess::Timedout);
        QVERIFY(hasBeenTold);
    }

    /// Kernels before 5.3 cannot wake the library at the program's end.
    void withoutNotificationTheEndIsLookedFor()
    {
        if (isEmulated)
            QSKIP("the emulator refuses filters of system calls");
        const QDeadlineTimer late(25000);
        QCOMPARE(told(executeProcess(self("--old-kernel"), 60000)),
                 text("0 UnknownError 3 UnknownError abc/de; 0 Timedout //"));
        QVERIFY(!late.hasExpired());
    }

    void whoCannotBeKilledIsNotWaitedFor()
    {
        if (::geteuid() != 0)
            QSKIP("only root can make a program that becomes another user");
        const QTemporaryDir folder;
        const QString program = folder.filePath(text("setpriv"));
        QVERIFY(QFile::copy(QStandardPaths::findExecutable(text("setpriv")), program));
        QVERIFY(::chmod(qPrintable(folder.path()), 0755) == 0 && ::chmod(qPrintable(program), 04755) == 0);
        const QDeadlineTimer late(15000);
        const Result result = [&] {
            const AsOrdinaryUser user;
            return executeProcess(program + text(" --reuid=0 ") + shell("printf $$; exec sleep 20"), 300);
        }();
        const pid_t left = result.stdOut.toInt();
        if (left <= 0)
            QSKIP("programs become no other user on this file system, or under this emulator");
        QVERIFY(::kill(left, SIGKILL) == 0 && ::waitpid(left, nullptr, 0) == left);
        QCOMPARE(result.processError, QProcess::Timedout);
        QVERIFY(!late.hasExpired());
    }

    void backgroundChildNeitherDelaysNorEndsWithTheProgram()
    {
        const Result result = executeProcess(shell("sleep 1000 & printf $!; exit 4"));
        const pid_t child = result.stdOut.toInt();
        QCOMPARE(result.exitCode, 4);
        QVERIFY(child > 0 && ::kill(child, SIGKILL) == 0); // 0 and -1 stand for more than one process
    }

    void runsInThreadsShareNothingAndLeaveNothing()
    {
        const auto descriptors = [] { return QDir(text("/proc/self/fd")).count(); };
        const auto before = descriptors();
        // One that an emulator's posix_spawn() need not find missing.
        const QString missing = text(isEmulated ? "no-such-program" : "/no");
        std::array<std::future<int>, 4> threads;
        for (size_t id = 0; id < threads.size(); ++id)
            threads[id] = std::async(std::launch::async, [&missing, id] {
                int wrong = 0;
                for (int run = 0; run < 250; ++run)
                    wrong += executeProcess(shell("exit %1").arg(id)).exitCode != int(id) ||
                             executeProcess(missing).processError != QProcess::FailedToStart;
                return wrong;
            });
        for (std::future<int> &thread : threads)
            QCOMPARE(thread.get(), 0);
        QCOMPARE(descriptors(), before);
        QCOMPARE(waitpid(-1, nullptr, WNOHANG), -1);
    }

    void extractAndReportAProcessOfTheCaller()
    {
        QProcess process;
        QCOMPARE(told(extractResult(process, QString())), text("0 UnknownError /"));
        process.start(text("/no/such"), QStringList());
        process.waitForStarted();
        QCOMPARE(told(extractResult(process, QString())), text("0 FailedToStart /"));
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.setWorkingDirectory(text("/"));
        process.setEnvironment({text("A=%1"), text("B=")});
        process.start(text("sh"), {text("-c"), text("printf ab >&2; kill -9 $$")});
        process.waitForFinished();
        Result result = extractResult(process, text("%3%8"));
        QCOMPARE(toString(result.exitStatus) + text(" ") + told(result), text("Crash Exit 9 Crashed ab/"));

        volatile int statuses = 2, errors = 6; // what follows the last ones
        result.stdOut = QByteArray::fromRawData("%2\xe9\0x", 5);
        result.stdErr = QByteArray::fromRawData("end!", 3);
        result.processError = QProcess::ProcessError(int(errors));
        result.exitStatus = QProcess::ExitStatus(int(statuses));
        QCOMPARE(result.dump(),
                 text("TESProcess Result\nCommand Line: %3%8\nExit Code: 9\nstdout: %2\u00e9\nstderr: end\n"
                      "Exit Status: Not defined QProcess::ExitStatus\nProcess Err: Not defined "
                      "QProcess::ProcessError\nWorking Dir: /\nEnvironment: A=%1;B="));
        QString words = toString(QProcess::NormalExit);
        for (int error = 0; error < errors; ++error)
            words += text(", ") + toString(QProcess::ProcessError(error));
        QCOMPARE(words,
                 text("Normal Exit, FailedToStart, Crashed, Timedout, ReadError, WriteError, UnknownError"));
    }

    void everyRunIsReportedOnRequest()
    {
        for (const auto &[option, isReported] :
             {std::pair("--verbosetesprocess", true), std::pair("--VerboseTesProcess", false),
              std::pair("--verbosetesprocess=1", false)}) {
            const Result run = executeProcess(self(option));
            QCOMPARE(run.stdErr, isReported ? "debug: \"" + run.stdOut + "\" \n" : QByteArray());
        }
    }
};

int main(int argc, char **argv)
{
    std::signal(SIGPIPE, SIG_IGN);
    qputenv("QT_MESSAGE_PATTERN", "%{type}: %{message}");
    qputenv("QT_FATAL_WARNINGS", "1"); // nothing here may make Qt warn
    const QCoreApplication application(argc, argv);
    if (argc < 3 || qstrcmp(argv[1], "--child") != 0) {
        TestProcess test;
        return QTest::qExec(&test, argc, argv);
    }
    if (qstrcmp(argv[2], "--no-streams") == 0)
        return !runsWithoutStreams();
    const bool isOld = qstrcmp(argv[2], "--old-kernel") == 0;
    const QString report =
        isOld ? runOnAnOldKernel() : executeProcess(text("printf \"%%1\"\"\"%%5\\0b\"")).dump();
    return std::fputs(qPrintable(report), stdout) < 0;
}

#include "test_process.moc"
