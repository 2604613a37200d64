#include "support/operations.h"
#include "support/tree.h"

#include <QTest>

#include <atomic>
#include <thread>
#include <vector>

#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

class TestHostile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aFullTargetCostsNothing()
    {
        const Tree tree(text("T/ S/ S/a S/large=") + QString(1 << 20, QLatin1Char('x')), text("/dev/shm"));
        const QString before = Tree::describe("S");
        if (::mount("none", "T", "tmpfs", 0, "size=64k") != 0)
            QSKIP("only root may mount");
        const TemporaryFolder temporary(tree.path() + text("/T"));
        std::ofstream("T/old") << "old";
        QStringList done;
        for (const char *command :
             {"mv S/large T/l", "mv! S/large T/old", "tempcopy S/large", "copy S T", "move S T/M"})
            if (run(text(command)))
                done.append(text(command));
        const QString left = Tree::describe("T");
        QVERIFY(::umount("T") == 0);
        QCOMPARE(done, QStringList());
        QCOMPARE(Tree::describe("S"), before);
        QCOMPARE(left, text("M/ M/a a old"));
    }

    void twoThousandTemporaryFoldersOfEightThreads()
    {
        const Tree tree(QString(), text("/dev/shm"));
        const TemporaryFolder temporary(tree.path());
        const auto descriptors = openDescriptors();
        std::atomic<int> made{0};
        const auto work = [&] {
            for (int i = 0; i < 250; ++i) {
                const TESTempFolder folder(true, true);
                made += QDir(folder.path()).mkpath(text("a/b"));
                std::ofstream(folder.path().toStdString() + "/a/b/c") << "content";
            }
        };
        std::vector<std::thread> threads(8);
        for (std::thread &thread : threads)
            thread = std::thread(work);
        for (std::thread &thread : threads)
            thread.join();
        QThreadPool::globalInstance()->waitForDone();
        QCOMPARE(made.load(), 2000);
        QCOMPARE(Tree::describe(), QCoreApplication::applicationName() + QLatin1Char('/'));
        QCOMPARE(openDescriptors(), descriptors);
    }

    void aFolderWithoutAThreadDoesNotHangTheEnd()
    {
        const Tree tree(QString(), text("/dev/shm"));
        QVERIFY(::chmod(".", 0777) == 0);
        const TemporaryFolder temporary(tree.path());
        const pid_t child = ::fork();
        if (child == 0) {
            constexpr uid_t nobodyElse = 47114;
            const rlimit one{1, 1};
            if (::getuid() == 0 && ::setresuid(nobodyElse, nobodyElse, nobodyElse) != 0)
                ::_exit(2);
            ::setrlimit(RLIMIT_NPROC, &one);
            bool wasMade = false;
            {
                const TESTempFolder folder(true, true);
                wasMade = QFileInfo::exists(folder.path());
            }
            ::_exit(wasMade && QThreadPool::globalInstance()->waitForDone(5000) ? 0 : 1);
        }
        int status = -1;
        QCOMPARE(::waitpid(child, &status, 0), child);
        QCOMPARE(status, 0);
    }
};

QTEST_GUILESS_MAIN(TestHostile)
#include "test_hostile.moc"
