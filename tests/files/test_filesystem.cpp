#include "support/operations.h"
#include "support/tree.h"

#include <QTest>

#include <vector>

#include <fcntl.h>
#include <linux/fiemap.h>
#include <linux/fs.h>
#include <sys/ioctl.h>

namespace {

constexpr qint64 kLarge = 5LL << 30; // beyond 32 bits
constexpr qint64 kHuge = 1LL << 40;

bool makeSparse(const QString &name, qint64 size)
{
    QFile file(name);
    return file.open(QIODevice::WriteOnly) && file.write("begin") == 5 && file.resize(size) &&
           file.seek(size - 3) && file.write("end") == 3;
}

/// Whether the file of this size takes little room.
bool isSparse(const char *name, qint64 size)
{
    struct stat info = {};
    return ::stat(name, &info) == 0 && info.st_size == size && info.st_blocks < 4096;
}

/// Whether the file system can hold such a file and tells where its hole is, so that a copy can leave it out.
bool canHoldHoles(const char *name, qint64 size)
{
    const bool isMade = makeSparse(text(name), size) && isSparse(name, size);
    const int fd = ::open(name, O_RDONLY | O_CLOEXEC);
    const bool tells = ::lseek(fd, 0, SEEK_HOLE) < size - 3;
    ::close(fd);
    return isMade && tells;
}

/// Whether the content of the file is also another's.
bool isShared(const char *name)
{
    std::vector<fiemap> memory(4); // one, and room for an extent behind it
    static_assert(3 * sizeof(fiemap) >= sizeof(fiemap_extent));
    fiemap *const map = memory.data();
    map->fm_length = FIEMAP_MAX_OFFSET;
    map->fm_flags = FIEMAP_FLAG_SYNC;
    map->fm_extent_count = 1;
    const int fd = ::open(name, O_RDONLY | O_CLOEXEC);
    const bool isMapped = ::ioctl(fd, FS_IOC_FIEMAP, map) == 0 && map->fm_mapped_extents == 1;
    ::close(fd);
    return isMapped && (map->fm_extents[0].fe_flags & FIEMAP_EXTENT_SHARED) != 0;
}

} // namespace

/// What depends on the file system of the temporary folder. FILE_SYSTEM names it where it must share content
/// ("btrfs").
class TestFilesystem : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void changesTheCaseOfAName()
    {
        for (const bool overwrite : {false, true}) {
            const Tree tree(text("a.txt=content f/ f/x"));
            QVERIFY(TESCoreUtil::RenameFile(text("a.txt"), text("A.txt"), overwrite));
            QVERIFY(TESCoreUtil::RenameFile(text("f"), text("F"), overwrite));
            QCOMPARE(Tree::describe(), text("A.txt=content F/ F/x"));
        }
    }

    void neverOverwritesANameThatDiffersInCase()
    {
        const Tree tree(text("A.txt=old b.txt=new S/ S/a.txt D/ D/A.txt=old"));
        if (!QFile::exists(text("a.TXT")))
            QSKIP("this file system tells upper from lower case");
        QCOMPARE(QFileInfo(TESCoreUtil::GetUniqueFileName(text("a.txt"))).fileName(), text("a_1.txt"));
        QVERIFY(!TESCoreUtil::RenameFile(text("b.txt"), text("a.txt"), false));
        QVERIFY(!TESCoreUtil::MoveFile(text("b.txt"), text("a.txt"), false));
        QVERIFY(!TESCoreUtil::CopyDirectory(QDir(text("S")), QDir(text("D"))));
        QVERIFY(!TESCoreUtil::MoveDirectoryQuick(text("S"), text("D")));
        QCOMPARE(Tree::describe(), text("A.txt=old D/ D/A.txt=old S/ S/a.txt b.txt=new"));
    }

    void refusesNamesThatItCannotHold()
    {
        for (const QString &name :
             {text("x:y"), QString(256, QLatin1Char('n')), QString::fromUcs4(U"\U0001F600").repeated(256)}) {
            const Tree other(text("S/ S/a"), text("/dev/shm"));
            const QString folder = other.path() + text("/S");
            const bool isHeldThere = QFile(folder + QLatin1Char('/') + name).open(QIODevice::WriteOnly);
            const Tree tree(text("a D/"));
            if (QFile(name).open(QIODevice::WriteOnly))
                continue; // this file system can hold it
            const QString before = Tree::describe();
            for (const bool overwrite : {false, true}) {
                QVERIFY(!TESCoreUtil::RenameFile(text("a"), name, overwrite));
                QVERIFY(!TESCoreUtil::MoveFile(text("a"), name, overwrite));
            }
            QVERIFY(!TESCoreUtil::WriteBinaryFile("x", name));
            QVERIFY(!TESCoreUtil::IsWritable(name));
            QCOMPARE(Tree::describe(), before);
            QVERIFY(!isHeldThere || !TESCoreUtil::MoveDirectory(folder, text("D")));
            QCOMPARE(TESCoreUtil::getFileAndDirCount(folder), isHeldThere ? 2 : 1);
        }
    }

    void sharesContent()
    {
        const Tree tree(text("S/ S/big"));
        QVERIFY(TESCoreUtil::WriteBinaryFile(QByteArray(1 << 20, 'x'), text("S/big")));
        QVERIFY(TESCoreUtil::CopyDirectory(QDir(text("S")), QDir(text("C"))));
        if (qgetenv("FILE_SYSTEM") != "btrfs")
            QSKIP("only asked of btrfs");
        QVERIFY(isShared("C/big"));
        QVERIFY(TESCoreUtil::MoveDirectory(text("S"), text("D")));
        QVERIFY(isShared("D/big"));
    }

    /// Longer than the time that a test has, if it went through every byte of the hole.
    void movesAndCopiesLargeFilesInAMoment()
    {
        const QByteArray fileSystem = qgetenv("FILE_SYSTEM");
        for (const qint64 size : {kLarge, kHuge}) {
            const Tree tree(text("S/"));
            if (!canHoldHoles("S/large", size))
                QSKIP("this file system cannot hold so large a sparse file");
            QVERIFY(TESCoreUtil::CopyDirectory(QDir(text("S")), QDir(text("C"))));
            QVERIFY(TESCoreUtil::MoveFile(text("S/large"), text("moved"), false));
            QVERIFY(isSparse("C/large", size));
            QVERIFY(isSparse("moved", size));
            if (size == kLarge && (fileSystem.isEmpty() || fileSystem == "ext4")) // not on each of them
                QCOMPARE(TESCoreUtil::calcHashSum(text("C/large")).toHex(),
                         QByteArray("f3364a8c25f376ec1e21328d60a66e6a203fc9b8"));
        }
    }
};

QTEST_GUILESS_MAIN(TestFilesystem)
#include "test_filesystem.moc"
