#include <TesCore/TESCoreUtil.h>
#include <TesCore/TESFileUtil.h>

#include <QCryptographicHash>
#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Root sees no permission errors: while one of these lives, the test is an ordinary user.
class OrdinaryUser
{
public:
    OrdinaryUser() : m_root(::geteuid() == 0 && ::seteuid(65534) == 0) {}
    ~OrdinaryUser()
    {
        if (m_root && ::seteuid(0) != 0)
            qFatal("cannot become root again");
    }

private:
    bool m_root;
};

void put(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot prepare %s", qPrintable(path));
}

} // namespace

class TestContents : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_folder;

    QString at(const char *name) const { return m_folder.filePath(QString::fromUtf8(name)); }

private Q_SLOTS:
    /// One entry of each kind that can or cannot be opened.
    void init()
    {
        const QString root = m_folder.path();
        QVERIFY(QDir(root).removeRecursively() && QDir().mkpath(root));
        QVERIFY(::chmod(root.toUtf8().constData(), 0777) == 0);
        put(at("file"), "text\r\n");
        put(at("empty"), "");
        put(at("locked"), "secret");
        QVERIFY(QFile::setPermissions(at("locked"), {}));
        QVERIFY(QDir().mkpath(at("folder")));
        QVERIFY(::mkfifo(at("fifo").toUtf8().constData(), 0666) == 0);
        QVERIFY(QFile::link(at("loop"), at("loop")));
    }

    void digestsAreThoseOfTheWholeContent_data()
    {
        QTest::addColumn<int>("size");
        for (int size : {0, 1, 63, 64, 262143, 262144, 262145, 1000000})
            QTest::addRow("%d bytes", size) << size;
    }

    void digestsAreThoseOfTheWholeContent()
    {
        QFETCH(int, size);
        QByteArray bytes(size, '\0');
        for (int i = 0; i < size; ++i)
            bytes[i] = char(i * 7 + i / 251);
        put(at("bytes"), bytes);
        for (const auto algorithm : {QCryptographicHash::Md4, QCryptographicHash::Md5,
                                     QCryptographicHash::Sha1, QCryptographicHash::Sha3_512})
            QCOMPARE(TESFileUtil::calcChecksum(at("bytes"), algorithm),
                     QCryptographicHash::hash(bytes, algorithm));
        QCOMPARE(TESCoreUtil::calcHashSum(at("bytes")),
                 QCryptographicHash::hash(bytes, QCryptographicHash::Sha1));
    }

    void noDigestOfWhatCannotBeRead()
    {
        const OrdinaryUser ordinaryUser;
        for (const char *name : {"missing", "locked", "folder", "fifo", "loop", "file/below"}) {
            QVERIFY2(TESFileUtil::calcChecksum(at(name), QCryptographicHash::Md5).isNull(), name);
            QVERIFY2(TESCoreUtil::calcHashSum(at(name)).isNull(), name);
        }
        QVERIFY(TESCoreUtil::calcHashSum(QString()).isNull());
        QVERIFY(TESCoreUtil::calcHashSum(QStringLiteral("/dev/zero")).isNull());
        // A file whose reading fails: nothing is mapped at the start of a process.
        QVERIFY(TESCoreUtil::calcHashSum(QStringLiteral("/proc/self/mem")).isNull());
        constexpr int unknown = QT_VERSION_MAJOR < 6 ? 15 : 31;
        QVERIFY(TESFileUtil::calcChecksum(at("file"), QCryptographicHash::Algorithm(unknown)).isNull());
    }

    void aDigestOfGigabytesIsTrueAndNeedsLittleMemory()
    {
        put(at("large"), "");
        QVERIFY(::truncate(at("large").toUtf8().constData(), (Q_INT64_C(1) << 31) + 1) == 0);
        rusage before;
        rusage after;
        QCOMPARE(::getrusage(RUSAGE_SELF, &before), 0);
        const QByteArray digest = TESCoreUtil::calcHashSum(at("large"));
        QCOMPARE(::getrusage(RUSAGE_SELF, &after), 0);
        QCOMPARE(digest.toHex(), QByteArray("5007e5ebf10d0a9f01aef1c26c066169456d95ea"));
        QVERIFY(after.ru_maxrss - before.ru_maxrss < 16 * 1024);
    }

    void timeStampsAreLeftAlone()
    {
        const QDateTime stamp = QFileInfo(at("file")).lastModified();
        const QDateTime other = QDateTime::fromMSecsSinceEpoch(0);
        QVERIFY(!TESFileUtil::setLastModifiedDateTime(at("file"), other, other));
        QVERIFY(!TESFileUtil::setLastModifiedDateTime(at("missing"), QDateTime(), QDateTime()));
        QCOMPARE(QFileInfo(at("file")).lastModified(), stamp);
    }
};

QTEST_GUILESS_MAIN(TestContents)
#include "test_contents.moc"
