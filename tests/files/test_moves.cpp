#include "support/operations.h"
#include "support/tree.h"

#include <QTest>

#include <array>
#include <atomic>
#include <thread>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/xattr.h>

using namespace TESCoreUtil;
namespace fs = std::filesystem;

namespace {

QString text(const char *latin1)
{
    return QString::fromLatin1(latin1);
}

/// A folder on the file system of the working folder, or on another one.
QString folderFor(bool isFar)
{
    return isFar ? text("/dev/shm") : QDir::tempPath();
}

bool areOnTwoDevices()
{
    struct stat here, there;
    return ::stat(qPrintable(QDir::tempPath()), &here) == 0 && ::stat("/dev/shm", &there) == 0 &&
           here.st_dev != there.st_dev;
}

/// An access list (acl(5)) in the form of its extended attribute.
QByteArray accessList(std::initializer_list<std::array<int, 3>> entries)
{
    QByteArray list("\2\0\0\0", 4);
    for (const auto &[tag, permissions, id] : entries)
        for (const auto &[value, bytes] : {std::pair(tag, 2), {permissions, 2}, {id, 4}})
            for (int i = 0; i < bytes; ++i)
                list.append(char(unsigned(value) >> (8 * i)));
    return list;
}
constexpr int kOwner = 1, kUser = 2, kGroup = 4, kMask = 16, kOthers = 32, kNobody = -1, kSomebody = 4711;

/// Sets and clears an attribute of a file or folder (chattr(1)) for as long as it exists.
class Attribute
{
public:
    Attribute(const char *path, long flag) : m_fd(::open(path, O_RDONLY)) { set(flag); }
    ~Attribute()
    {
        set(0);
        ::close(m_fd);
    }
    bool isSet() const { return m_isSet; }

private:
    void set(long flag) { m_isSet = ::ioctl(m_fd, FS_IOC_SETFLAGS, &flag) == 0; }
    const int m_fd;
    bool m_isSet = false;
};

} // namespace

class TestMoves : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aMoveKeepsWhatAPersonSees_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<bool>("isFar");
        QTest::addColumn<bool>("isMove");
        for (const bool isFar : {false, true}) {
            const char *where = isFar ? "to another file system" : "on one file system";
            for (const char *command :
                 {"mv S/a D", "mv! S/a D", "rename S/a D", "rename! S/a D", "quick S D", "move S D"})
                QTest::addRow("%s %s", command, where) << text(command) << isFar << true;
        }
        QTest::newRow("a copy has the time of its making") << text("copy S D") << true << false;
    }

    void aMoveKeepsWhatAPersonSees()
    {
        QFETCH(QString, command);
        QFETCH(bool, isFar);
        QFETCH(bool, isMove);
        if (isFar && !areOnTwoDevices())
            QSKIP("everything is on one device here");
        const Tree tree(text("S/ S/n/ S/a"), folderFor(isFar));
        const QTemporaryDir there(QDir::tempPath() + text("/there-XXXXXX"));
        const fs::path target = there.filePath(text("D")).toStdString();
        const bool isTree = command.contains(text("S D"));
        if (command.contains(QLatin1Char('!')))
            std::ofstream(target) << "old";
        const QByteArray list = accessList({{kOwner, 6, kNobody},
                                            {kUser, 4, kSomebody},
                                            {kGroup, 4, kNobody},
                                            {kMask, 4, kNobody},
                                            {kOthers, 0, kNobody}});
        const bool hasList =
            ::setxattr("S/a", "system.posix_acl_access", list.data(), std::size_t(list.size()), 0) == 0;
        const bool hasUserAttribute = ::setxattr("S/a", "user.note", "read me", 7, 0) == 0;
        const bool isRoot = ::chown("S/a", 1234, 1235) == 0;
        const timespec times[] = {{1'000'000'000, 111'111'100}, {1'100'000'000, 222'222'200}};
        QVERIFY(::chmod("S/n", 0710) == 0);
        for (const char *path : {"S/a", "S/n"})
            QVERIFY(::utimensat(AT_FDCWD, path, times, 0) == 0);
        struct stat before, after, folder;
        QVERIFY(::stat("S/a", &before) == 0);

        QString words = command;
        words.replace(text(" D"), QLatin1Char(' ') + QString::fromStdString(target.string()));
        QVERIFY(run(words));
        const fs::path file = isTree ? target / "a" : target;
        QVERIFY(::stat(file.c_str(), &after) == 0);
        QCOMPARE(after.st_mtim.tv_sec == times[1].tv_sec, isMove);
        if (!isMove)
            return;
        QCOMPARE(after.st_mtim.tv_nsec, times[1].tv_nsec);
        QCOMPARE(after.st_atim.tv_sec, times[0].tv_sec);
        QCOMPARE(after.st_mode, before.st_mode);
        QVERIFY(!isRoot || (after.st_uid == 1234 && after.st_gid == 1235));
        char value[100];
        if (hasUserAttribute)
            QCOMPARE(int(::getxattr(file.c_str(), "user.note", value, sizeof value)), 7);
        if (hasList)
            QCOMPARE(int(::getxattr(file.c_str(), "system.posix_acl_access", value, sizeof value)),
                     int(list.size()));
        if (isTree) {
            QVERIFY(::stat((target / "n").c_str(), &folder) == 0);
            QCOMPARE(folder.st_mode & 07777, 0710U);
            QCOMPARE(folder.st_mtim.tv_sec, times[1].tv_sec);
        }
    }

    void nobodyGetsToSeeMore()
    {
        const Tree tree(text("S/ S/private/ S/private/x S/sealed/ S/sealed/x S/a S/b"));
        const QByteArray forOne = accessList({{kOwner, 6, kNobody},
                                              {kUser, 6, kSomebody},
                                              {kGroup, 0, kNobody},
                                              {kMask, 6, kNobody},
                                              {kOthers, 0, kNobody}});
        const QByteArray notForOne = accessList({{kOwner, 6, kNobody},
                                                 {kUser, 0, kSomebody},
                                                 {kGroup, 4, kNobody},
                                                 {kMask, 4, kNobody},
                                                 {kOthers, 4, kNobody}});
        const bool hasLists =
            ::setxattr("S/a", "system.posix_acl_access", forOne.data(), std::size_t(forOne.size()), 0) == 0 &&
            ::setxattr("S/b", "system.posix_acl_access", notForOne.data(), std::size_t(notForOne.size()),
                       0) == 0;
        QVERIFY(::chmod("S/private", 0700) == 0);
        QVERIFY(::chmod("S/sealed", 0555) == 0);
        const mode_t mask = ::umask(002);
        const bool isCopied = run(text("copy S D"));
        CopyFiles(text("S"), text("E"));
        ::umask(mask);
        QVERIFY(isCopied);
        for (const std::string &root : {std::string("D"), std::string("E")}) {
            struct stat info;
            QVERIFY(::stat((root + "/private").c_str(), &info) == 0);
            QCOMPARE(info.st_mode & 07777, 0700U);
            QVERIFY(::stat((root + "/sealed").c_str(), &info) == 0);
            QCOMPARE(info.st_mode & 07777, 0555U);
            QVERIFY(fs::exists(root + "/sealed/x"));
            ::chmod((root + "/sealed").c_str(), 0700);
            for (const char *name : {"/a", "/b"}) {
                if (::stat((root + name).c_str(), &info) == 0 && hasLists)
                    QCOMPARE(info.st_mode & 07777, 0600U);
            }
        }
        ::chmod("S/sealed", 0700);
        // A copy that stops midway shows no more of the folder in which it does.
        QVERIFY(::mkfifo("p", 0600) == 0);
        fs::create_symlink("../../p", "S/private/l");
        QVERIFY(!run(text("copy S F")));
        struct stat info;
        QVERIFY(::stat("F/private", &info) == 0);
        QCOMPARE(info.st_mode & 07777, 0700U);
    }

    void whatIsProtectedIsAskedBeforehand()
    {
        if (!areOnTwoDevices())
            QSKIP("everything is on one device here");
        const Tree tree(text("a d/ d/old b"));
        const QTemporaryDir there(text("/dev/shm/there-XXXXXX"));
        const std::string far = there.path().toStdString();
        std::ofstream(far + "/x") << "x";
        const QString farX = there.filePath(text("x"));
        {
            const Attribute immutable("a", FS_IMMUTABLE_FL), append("d", FS_APPEND_FL);
            if (!immutable.isSet() || !append.isSet())
                QSKIP("only root may protect files, and not on every file system");
            const QString before = Tree::describe();
            QVERIFY(!RenameFile(text("a"), farX, true));
            QVERIFY(!RenameFile(text("a"), there.filePath(text("new")), false));
            QVERIFY(!MoveFile(text("b"), text("d/old"), true));
            QVERIFY(!RenameFile(text("b"), text("d/old"), true));
            QVERIFY(!MoveFile(text("d/old"), text("a"), true));
            QCOMPARE(Tree::describe(), before);
            QCOMPARE(Tree::describe(far), text("x"));
            // What is enough for this one is a copy, and it is nobody's second name.
            QVERIFY(MoveFile(text("a"), text("c"), false));
        }
        struct stat info;
        QVERIFY(::stat("c", &info) == 0);
        QCOMPARE(int(info.st_nlink), 1);
        QCOMPARE(Tree::describe(), text("a b c=a d/ d/old"));
    }

    void somebodyElsesFolderKeepsItsFile()
    {
        if (!areOnTwoDevices() || ::geteuid() != 0)
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

    void mountsInsideTheSourceAreSeen()
    {
        const Tree tree(text("S/ S/m/ S/x far/"));
        if (::mount("none", "far", "tmpfs", 0, nullptr) != 0)
            QSKIP("only root may mount");
        fs::create_directory("far/sub");
        const bool isBound = ::mount("far/sub", "S/m", nullptr, MS_BIND, nullptr) == 0;
        std::ofstream("far/sub/y") << "y";
        const QString before = Tree::describe();
        for (const char *command :
             {"quick S far/sub/D", "move S far/sub/D", "copy S far/sub/D", "copy S far/sub"})
            QVERIFY2(!run(text(command)), command);
        const QString after = Tree::describe();
        QVERIFY(::umount("S/m") == 0);
        QVERIFY(::umount("far") == 0);
        QVERIFY(isBound);
        QCOMPARE(after, before);
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
        const QString left = Tree::describe("T");
        QVERIFY(::umount("T") == 0);
        QVERIFY(isMoved);
        QCOMPARE(sizeOfF, 500'000U);
        QCOMPARE(left.count(QLatin1Char(' ')), 3); // D/ D/n/ e=... f=...
    }

    void holesStayHolesOnAnotherDisk()
    {
        if (!areOnTwoDevices())
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
        std::string tail(4, ' ');
        std::ifstream(there.filePath(text("b")).toStdString()).seekg(-4, std::ios::end).read(tail.data(), 4);
        QCOMPARE(tail, std::string("\0end", 4));
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
