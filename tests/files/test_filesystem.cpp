#include "support/operations.h"
#include "support/tree.h"

#include <QElapsedTimer>
#include <QTest>

#include <fcntl.h>
#include <linux/fiemap.h>
#include <linux/fs.h>
#include <sys/ioctl.h>

namespace {

constexpr qint64 kLarge = 5LL << 30; // beyond 32 bits
constexpr qint64 kHuge = 1LL << 40;

QString text(const char *latin1)
{
    return QString::fromLatin1(latin1);
}

/// Whether the file system at hand takes this name.
bool canHold(const QString &name)
{
    return QFile(name).open(QIODevice::WriteOnly) && QFile::remove(name);
}

bool ignoresCase()
{
    QFile(text("case")).open(QIODevice::WriteOnly);
    const bool ignores = QFile::exists(text("CASE"));
    QFile::remove(text("case"));
    return ignores;
}

bool makeSparse(const QString &name, qint64 size)
{
    QFile file(name);
    return file.open(QIODevice::WriteOnly) && file.write("begin") == 5 && file.resize(size) &&
           file.seek(size - 3) && file.write("end") == 3;
}

/// Whether the file system tells where the hole of the file is, so that a copy can leave it out.
bool tellsHoles(const char *name)
{
    const int fd = ::open(name, O_RDONLY | O_CLOEXEC);
    const bool tells = ::lseek(fd, 0, SEEK_HOLE) < kLarge - 3;
    ::close(fd);
    return tells;
}

qint64 blocksOf(const char *name)
{
    struct stat info = {};
    return ::stat(name, &info) == 0 ? info.st_blocks : -1;
}

/// Whether the content of the file is also another's.
bool isShared(const char *name)
{
    alignas(fiemap) char memory[sizeof(fiemap) + sizeof(fiemap_extent)] = {};
    auto *map = reinterpret_cast<fiemap *>(memory);
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
        if (!ignoresCase())
            QSKIP("this file system tells upper from lower case");
        QCOMPARE(QFileInfo(TESCoreUtil::GetUniqueFileName(text("a.txt"))).fileName(), text("a_1.txt"));
        QVERIFY(!TESCoreUtil::RenameFile(text("b.txt"), text("a.txt"), false));
        QVERIFY(!TESCoreUtil::MoveFile(text("b.txt"), text("a.txt"), false));
        QVERIFY(!TESCoreUtil::CopyDirectory(QDir(text("S")), QDir(text("D"))));
        QVERIFY(!TESCoreUtil::MoveDirectoryQuick(text("S"), text("D")));
        QCOMPARE(Tree::describe(), text("A.txt=old D/ D/A.txt=old S/ S/a.txt b.txt=new"));
    }

    void refusesNamesThatItCannotHold_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("colon") << text("x:y");
        QTest::newRow("256 bytes") << QString(256, QLatin1Char('n'));
        QTest::newRow("256 UTF-16 units in 1024 bytes") << QString::fromUcs4(U"\U0001F600").repeated(256);
    }

    void refusesNamesThatItCannotHold()
    {
        QFETCH(QString, name);
        const Tree other(text("S/ S/a"), text("/dev/shm"));
        const QString folder = other.path();
        const bool isHeldThere = QFile(folder + text("/S/") + name).open(QIODevice::WriteOnly);
        const Tree tree(text("a D/"));
        if (canHold(name))
            QSKIP("this file system can hold the name");
        const QString before = Tree::describe();
        for (const bool overwrite : {false, true}) {
            QVERIFY(!TESCoreUtil::RenameFile(text("a"), name, overwrite));
            QVERIFY(!TESCoreUtil::MoveFile(text("a"), name, overwrite));
        }
        QVERIFY(!TESCoreUtil::WriteBinaryFile("x", name));
        QVERIFY(!TESCoreUtil::IsWritable(name));
        QCOMPARE(Tree::describe(), before);
        if (isHeldThere) {
            QVERIFY(!TESCoreUtil::MoveDirectory(folder + text("/S"), text("D")));
            QCOMPARE(TESCoreUtil::getFileAndDirCount(folder + text("/S")), 2);
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

    void movesAndCopiesLargeFiles()
    {
        const Tree tree(text("S/"));
        if (!makeSparse(text("S/large"), kLarge) || blocksOf("S/large") > 4096 || !tellsHoles("S/large"))
            QSKIP("this file system cannot hold a sparse file of 5 GiB");
        QVERIFY(TESCoreUtil::CopyDirectory(QDir(text("S")), QDir(text("C"))));
        QVERIFY(TESCoreUtil::MoveFile(text("S/large"), text("moved"), false));
        QCOMPARE(QFileInfo(text("C/large")).size(), kLarge);
        QVERIFY(blocksOf("C/large") < 4096);
        QCOMPARE(QFileInfo(text("moved")).size(), kLarge);
        if (qgetenv("FILE_SYSTEM") == "ext4") // once is enough
            QCOMPARE(TESCoreUtil::calcHashSum(text("C/large")).toHex(),
                     QByteArray("f3364a8c25f376ec1e21328d60a66e6a203fc9b8"));
    }

    void copiesAHugeSparseFileInAMoment()
    {
        const Tree tree(text("S/"));
        if (!makeSparse(text("S/huge"), kHuge) || blocksOf("S/huge") > 4096 || !tellsHoles("S/huge"))
            QSKIP("this file system cannot hold a sparse file of 1 TiB");
        QElapsedTimer timer;
        timer.start();
        QVERIFY(TESCoreUtil::CopyDirectory(QDir(text("S")), QDir(text("C"))));
        QVERIFY(timer.elapsed() < 5'000);
        QCOMPARE(QFileInfo(text("C/huge")).size(), kHuge);
        QVERIFY(blocksOf("C/huge") < 4096);
    }
};

QTEST_GUILESS_MAIN(TestFilesystem)
#include "test_filesystem.moc"
