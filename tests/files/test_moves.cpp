#include "support/operations.h"
#include "support/tree.h"

#include <QTest>

#include <atomic>
#include <thread>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <sys/xattr.h>

using namespace TESCoreUtil;
namespace fs = std::filesystem;

namespace {

bool playsFat = false; // which has no links, and writes the halves of a rename in any order

} // namespace

// Both stand before the C library's, whose headers use reserved names.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" int fstatfs(int fd, struct statfs *info) noexcept
{
    const int result = int(::syscall(SYS_fstatfs, fd, info));
    info->f_type = playsFat ? MSDOS_SUPER_MAGIC : info->f_type;
    return result;
}

extern "C" int linkat(int fromDirfd, const char *from, int toDirfd, const char *to, int flags) noexcept
{
    errno = EPERM;
    return playsFat ? -1 : int(::syscall(SYS_linkat, fromDirfd, from, toDirfd, to, flags));
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace {

/// Gives a file an access list (acl(5)): its owner reads and writes, and user 4711, the group, the mask and
/// the others get these permissions.
bool setAccessList(const char *path, int user, int group, int mask, int others)
{
    QByteArray list(
        "02000000 01000600ffffffff 02000u0067120000 04000g00ffffffff 10000m00ffffffff 20000o00ffffffff");
    for (const auto &[field, permissions] : {std::pair('u', user), {'g', group}, {'m', mask}, {'o', others}})
        list.replace(field, QByteArray::number(permissions));
    list = QByteArray::fromHex(list);
    const bool isSet =
        ::setxattr(path, "system.posix_acl_access", list.data(), std::size_t(list.size()), 0) == 0;
    if (!isSet && errno != EOPNOTSUPP)
        qFatal("this is no access list");
    return isSet;
}

mode_t modeOf(const std::string &path)
{
    struct stat info = {};
    return ::lstat(path.c_str(), &info) == 0 ? info.st_mode & 07777U : 0;
}

} // namespace

class TestMoves : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aMoveKeepsWhatAPersonSees_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<bool>("isFar");
        for (const bool isFar : {false, true})
            for (const char *command :
                 {"mv S/a %1", "mv! S/a %1", "rename S/a %1", "rename! S/a %1", "quick S %1", "move S %1"})
                QTest::addRow("%s%s", command, isFar ? ", far" : "") << text(command) << isFar;
        QTest::newRow("a copy has the time of its making") << text("copy S %1") << true;
    }

    void aMoveKeepsWhatAPersonSees()
    {
        QFETCH(QString, command);
        QFETCH(bool, isFar);
        if (isFar && otherFileSystem().isEmpty())
            QSKIP("everything is on one device here");
        const Tree tree(text("S/ S/n/ S/a"), isFar ? otherFileSystem() : QDir::tempPath());
        const QTemporaryDir there(QDir::tempPath() + text("/there-XXXXXX"));
        const std::string target = there.filePath(text("D")).toStdString();
        const bool isTree = command.contains(text("S %1")), isMove = !command.startsWith(text("copy"));
        if (command.contains(QLatin1Char('!')))
            std::ofstream(target) << "old";
        const bool hasList = setAccessList("S/a", 4, 4, 4, 0);
        const std::string note(2000, 'n');
        const bool hasNote = ::setxattr("S/a", "user.note", note.data(), note.size(), 0) == 0;
        const bool isRoot = ::chown("S/a", 1234, 1235) == 0;
        const timespec times[] = {{1'000'000'000, 111'111'100}, {1'100'000'000, 222'222'200}};
        QVERIFY(::chmod("S/n", 0710) == 0);
        for (const char *path : {"S/a", "S/n"})
            QVERIFY(::utimensat(AT_FDCWD, path, times, 0) == 0);
        const mode_t mode = modeOf("S/a");

        QVERIFY(run(command.arg(QString::fromStdString(target))));
        const std::string file = isTree ? target + "/a" : target;
        struct stat after;
        QVERIFY(::stat(file.c_str(), &after) == 0);
        QCOMPARE(after.st_mtim.tv_sec == times[1].tv_sec, isMove);
        if (!isMove)
            return;
        QCOMPARE(after.st_mtim.tv_nsec, times[1].tv_nsec);
        QCOMPARE(after.st_atim.tv_sec, times[0].tv_sec);
        QCOMPARE(modeOf(file), mode);
        QVERIFY(!isRoot || (after.st_uid == 1234 && after.st_gid == 1235));
        QVERIFY(!hasNote || ::getxattr(file.c_str(), "user.note", nullptr, 0) == 2000);
        QVERIFY(!hasList || ::getxattr(file.c_str(), "system.posix_acl_access", nullptr, 0) == 44);
        if (isTree) {
            QVERIFY(::stat((target + "/n").c_str(), &after) == 0);
            QCOMPARE(after.st_mode & 07777, 0710U);
            QCOMPARE(after.st_mtim.tv_sec, times[1].tv_sec);
        }
    }

    void nobodyGetsToSeeMore()
    {
        const Tree tree(text("S/ S/private/ S/private/x S/sealed/ S/sealed/x S/a S/b"));
        // One that lets somebody in, and one that keeps somebody out.
        const bool hasLists = setAccessList("S/a", 6, 0, 6, 0) && setAccessList("S/b", 0, 4, 4, 4);
        QVERIFY(::chmod("S/private", 0700) == 0);
        QVERIFY(::chmod("S/sealed", 0555) == 0);
        const mode_t mask = ::umask(002);
        const bool isCopied = run(text("copy S D"));
        CopyFiles(text("S"), text("E"));
        ::umask(mask);
        QVERIFY(isCopied);
        for (const std::string &root : {std::string("D"), std::string("E")}) {
            QCOMPARE(modeOf(root + "/private"), 0700U);
            QCOMPARE(modeOf(root + "/sealed"), 0555U);
            QVERIFY(fs::exists(root + "/sealed/x"));
            ::chmod((root + "/sealed").c_str(), 0700);
            for (const char *name : {"/a", "/b"})
                if (hasLists && fs::exists(root + name))
                    QCOMPARE(modeOf(root + name), 0600U);
        }
        ::chmod("S/sealed", 0700);
        // A copy that stops midway shows no more of the folder in which it does.
        QVERIFY(::mkfifo("p", 0600) == 0);
        fs::create_symlink("../../p", "S/private/l");
        QVERIFY(!run(text("copy S F")));
        QCOMPARE(modeOf("F/private"), 0700U);
    }

    void whatIsProtectedIsAskedBeforehand()
    {
        if (otherFileSystem().isEmpty())
            QSKIP("everything is on one device here");
        const Tree tree(text("a d/ d/old b"));
        const QTemporaryDir there(text("/dev/shm/there-XXXXXX"));
        const std::string far = there.path().toStdString();
        std::ofstream(far + "/x") << "x";
        if (std::system("chattr +i a && chattr +a d") != 0)
            QSKIP("only root may protect files, and not on every file system");
        const QString before = Tree::describe();
        QStringList done;
        for (const char *command :
             {"rename! a %1/x", "rename a %1/new", "mv! b d/old", "rename! b d/old", "mv! d/old a"})
            if (run(text(command).replace(text("%1"), there.path())))
                done.append(text(command));
        const QString after = Tree::describe() + Tree::describe(far);
        // What is enough for this one is a copy, and it is nobody's second name.
        const bool isCopied = MoveFile(text("a"), text("c"), false);
        QVERIFY(std::system("chattr -i a && chattr -a d") == 0);
        QCOMPARE(done, QStringList());
        QCOMPARE(after, before + text("x"));
        QVERIFY(isCopied);
        QCOMPARE(fs::hard_link_count("c"), 1U);
        QCOMPARE(Tree::describe(), text("a b c=a d/ d/old"));
    }

    void somebodyElsesFolderKeepsItsFile()
    {
        if (otherFileSystem().isEmpty() || ::geteuid() != 0)
            QSKIP("needs root, and two devices");
        const Tree tree(text("d/ d/a to/"));
        const QTemporaryDir there(text("/dev/shm/there-XXXXXX"));
        QVERIFY(::chmod(qPrintable(there.path()), 0777) == 0);
        QVERIFY(::chmod(qPrintable(tree.path()), 0755) == 0);
        QVERIFY(::chmod("to", 0777) == 0);
        QVERIFY(::chmod("d/a", 0644) == 0);
        const QString x = there.filePath(text("x"));
        {
            const AsOrdinaryUser user;
            std::ofstream(x.toStdString()) << "old";
            QVERIFY(!RenameFile(text("d/a"), x, true));
            QVERIFY(!RenameFile(text("d/a"), text("to/a"), false));
            QVERIFY(!run(text("quick d to/d")));
            QVERIFY(MoveFile(text("d/a"), text("to/b"), false));
        }
        QCOMPARE(ReadBinaryFile(x), QByteArray("old"));
        QCOMPARE(Tree::describe(), text("d/ d/a to/ to/b=a to/d/"));
    }

    void aFullDiskHasRoomForAMove()
    {
        const Tree tree(text("T/"), text("/dev/shm"));
        if (::mount("none", "T", "tmpfs", 0, "size=1m") != 0)
            QSKIP("only root may mount");
        fs::create_directories("T/S/n");
        std::ofstream("T/S/a") << std::string(400'000, 'a');
        std::ofstream("T/S/n/b") << std::string(500'000, 'b');
        struct stat a, moved;
        bool isMoved = ::stat("T/S/a", &a) == 0 && run(text("move T/S T/D")) && run(text("mv T/D/n/b T/c")) &&
                       run(text("mv T/D/a T/e"));
        isMoved = isMoved && ::stat("T/e", &moved) == 0 && moved.st_ino == a.st_ino;
        std::ofstream("T/f") << "f";
        isMoved = isMoved && run(text("mv! T/c T/f"));
        const auto sizeOfF = fs::file_size("T/f");
        playsFat = true;
        for (const char *command : {"rename T/e T/D/n/g", "quick T/D T/h", "rename! T/h/n/g T/f"})
            isMoved = isMoved && run(text(command));
        playsFat = false;
        const QString left = Tree::describe("T");
        QVERIFY(::umount("T") == 0);
        QVERIFY(isMoved);
        QCOMPARE(sizeOfF, 500'000U);
        QCOMPARE(left.section(QLatin1Char('='), 0, 0) + left.right(8), text("D/ D/n/ f h/ h/n/"));
    }

    void holesStayHolesOnAnotherDisk()
    {
        if (otherFileSystem().isEmpty())
            QSKIP("everything is on one device here");
        const Tree tree(text("a b"), text("/dev/shm"));
        const QTemporaryDir there(QDir::tempPath() + text("/there-XXXXXX"));
        fs::resize_file("a", std::uintmax_t{1} << 40);
        std::ofstream("b", std::ios::in).seekp(std::streamoff(5) << 30) << "end";
        struct stat info;
        for (const char *name : {"a", "b"}) {
            const QString to = there.filePath(text(name));
            QVERIFY(::stat(name, &info) == 0);
            const auto size = info.st_size;
            QVERIFY(MoveFile(text(name), to, false));
            QVERIFY(::stat(qPrintable(to), &info) == 0);
            QCOMPARE(info.st_size, size);
            QVERIFY(info.st_blocks < 2048);
        }
        QFile moved(there.filePath(text("b")));
        QVERIFY(moved.open(QIODevice::ReadOnly) && moved.seek(moved.size() - 4));
        QCOMPARE(moved.read(4), QByteArray("\0end", 4));
    }

    void twoMayDeleteTheSame()
    {
        const Tree tree(QString(), text("/dev/shm"));
        constexpr int kFiles = 3000;
        for (int i = 0; i < kFiles; ++i)
            std::ofstream("f" + std::to_string(i)) << i;
        for (int i = 0; i < 100; ++i) {
            fs::create_directories("S/" + std::to_string(i) + "/n");
            for (int j = 0; j < 20; ++j)
                std::ofstream("S/" + std::to_string(i) + "/n/" + std::to_string(j)) << j;
        }
        std::atomic<int> started{0}, failures{0};
        const auto work = [&] {
            ++started;
            while (started < 2)
                std::this_thread::yield();
            for (int i = 0; i < kFiles; ++i)
                failures += !DeleteFile(QLatin1Char('f') + QString::number(i));
            failures += !DeleteFolderContents(text("S"));
            failures += !DeleteFolderAndFiles(text("S"));
        };
        std::thread other(work);
        work();
        other.join();
        QCOMPARE(failures.load(), 0);
        QCOMPARE(Tree::describe(), QString());
    }
};

QTEST_GUILESS_MAIN(TestMoves)
#include "test_moves.moc"
