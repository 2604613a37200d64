#include "support/tree.h"
#include <base/descriptor_p.h>

#include <TesCore/TESCoreUtil.h>
#include <TesCore/TESFileUtil.h>

#include <QCryptographicHash>
#include <QDateTime>
#include <QRandomGenerator>
#include <QTest>
#include <QTextCodec>
#include <QThread>

#include <csignal>
#include <cstdlib>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/xattr.h>
#include <termios.h>

using namespace TESCoreUtil;
using TesCoreBase::Descriptor;

namespace {

const QString file = QStringLiteral("file");
// Where replacing a file again and again does not wait for a disk.
const QString memory = QStringLiteral("/dev/shm");
const QString untouched = QStringLiteral("untouched");
int leased = -1;

QStringList words(const char *text)
{
    return QString::fromUtf8(text).split(QLatin1Char('|'));
}

QString decoded(const QByteArray &bytes, QTextCodec *codec)
{
    return QTextDecoder(QTextCodec::codecForUtfText(bytes, codec)).toUnicode(bytes);
}

QByteArray encoded(const QString &text, QTextCodec *codec)
{
    return QTextEncoder(codec, QTextCodec::IgnoreHeader).fromUnicode(text);
}

/// A text of characters that the codec can hold, in random order.
QString textFor(QTextCodec *codec, int length, QRandomGenerator &random)
{
    QStringList held;
    const auto points = QStringLiteral("az09 ~+-&\\\n\r\tÄéñ€ёжЖαγש日本アｱ简한국😀𐍈\u0001").toUcs4();
    for (const char32_t point : points) {
        const QString framed = QLatin1Char('a') + QString::fromUcs4(&point, 1) + QLatin1Char('a');
        if (codec->name().startsWith("UTF") || decoded(encoded(framed, codec), codec) == framed)
            held.append(QString::fromUcs4(&point, 1));
    }
    QString text;
    while (text.size() < length)
        text += held.at(random.bounded(int(held.size())));
    return text;
}

/// Lowers the largest size of a file for as long as it exists.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t limit)
    {
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit lowered = {std::min(m_before.rlim_max, limit), m_before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &lowered);
        ::signal(SIGXFSZ, SIG_IGN);
    }
    ~FileSizeLimit() { ::setrlimit(RLIMIT_FSIZE, &m_before); }

private:
    rlimit m_before;
};

/// Interrupts this thread's system calls a thousand times each second for as long as it exists.
class Ticking
{
public:
    Ticking()
    {
        struct sigaction action = {};
        action.sa_handler = [](int) {};
        ::sigaction(SIGALRM, &action, nullptr);
        set(1000);
    }
    ~Ticking() { set(0); }
    /// The calling thread is left in peace.
    static void keepOut()
    {
        sigset_t signals;
        ::sigemptyset(&signals);
        ::sigaddset(&signals, SIGALRM);
        ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    }

private:
    static void set(int microseconds)
    {
        const itimerval interval = {{0, microseconds}, {0, microseconds}};
        ::setitimer(ITIMER_REAL, &interval, nullptr);
    }
};

/// The system's temporary folder for as long as it exists.
class TemporaryFolder
{
public:
    explicit TemporaryFolder(const QString &path) : m_before(qgetenv("TMPDIR"))
    {
        qputenv("TMPDIR", QFile::encodeName(path));
    }
    ~TemporaryFolder() { m_before.isNull() ? qunsetenv("TMPDIR") : qputenv("TMPDIR", m_before); }

private:
    const QByteArray m_before;
};

/// The error of all reads, or all writes, of a path, each of which must fail.
QString errorOf(const QString &path, bool reading)
{
    QString error = untouched;
    QString textError = untouched;
    const bool failed =
        reading ? ReadBinaryFile(path, &error).isNull() && calcHashSum(path).isNull() &&
                      ReadUnicodeTextFile(path, &textError, nullptr, true).isNull()
                : !WriteBinaryFile("x", path, &error) && !WriteUnicodeTextFile(file, path, &textError);
    return failed && error == textError ? error : QStringLiteral("not refused");
}

} // namespace

class TestContents : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void digestsAreThoseOfTheWholeContent()
    {
        const Tree tree(QString(), memory);
        for (const int size : {0, 63, 64, 119, 120, 262143, 262144, 262145}) {
            const QByteArray bytes = QByteArray("0123456789abcdefg").repeated(size / 17 + 1).left(size);
            QVERIFY(WriteBinaryFile(bytes, file));
            for (const auto algorithm : {QCryptographicHash::Md5, QCryptographicHash::Sha1})
                QCOMPARE(TESFileUtil::calcChecksum(file, algorithm),
                         QCryptographicHash::hash(bytes, algorithm));
        }
        int unknown = 0;
        while (QCryptographicHash::hashLength(QCryptographicHash::Algorithm(unknown)) > 0)
            ++unknown;
        QVERIFY(TESFileUtil::calcChecksum(file, QCryptographicHash::Algorithm(unknown)).isNull());

        QVERIFY(!TESFileUtil::setLastModifiedDateTime(file, QDateTime(), QDateTime::currentDateTime()));

        QCOMPARE(::truncate("file", 0) + ::truncate("file", (Q_INT64_C(1) << 32) + 1), 0); // beyond 32 bits
        QCOMPARE(calcHashSum(file).toHex(), QByteArray("e7d747b75f76e0e41e83b75bce4642816136304f"));
    }

    void whatCannotBeOpenedIsToldInQtsWords()
    {
        const AsOrdinaryUser ordinaryUser;
        const Tree tree(QStringLiteral("file locked folder/ loop->loop"));
        QCOMPARE(::chmod("locked", 0), 0);
        const QStringList paths = words("missing|locked|folder|folder/|loop|file/|file/in|no/in");
        for (const QString &path : paths) {
            QFile opened(path);
            opened.open(QIODevice::ReadOnly);
            QCOMPARE(errorOf(path, true), opened.errorString());
            if (!opened.open(QIODevice::WriteOnly | QIODevice::Truncate))
                QCOMPARE(errorOf(path, false), opened.errorString());
        }
    }

    void whatCouldBlockIsRefused()
    {
        const Tree tree(QStringLiteral("fifo| file"));
        const QString withNul = file + QChar(QChar::Null);
        for (const bool reading : {true, false}) {
            QCOMPARE(errorOf(QStringLiteral("fifo"), reading), qt_error_string(EOPNOTSUPP));
            QCOMPARE(errorOf(withNul, reading), qt_error_string(EINVAL));
            QCOMPARE(errorOf(QString(QChar(0xd800)), reading), qt_error_string(EILSEQ));
            QCOMPARE(errorOf(QString(), reading), QStringLiteral("No file name specified"));
        }
        QCOMPARE(errorOf(QStringLiteral("/dev/zero"), true), qt_error_string(EOPNOTSUPP));
        QCOMPARE(GetUniqueFileName(withNul), withNul);
    }

    void aLeaseIsWaitedFor()
    {
        const Tree tree(file, memory);
        leased = ::open("file", O_RDONLY);
        ::signal(SIGIO, [](int) { ::fcntl(leased, F_SETLEASE, F_UNLCK); });
        const auto lease = [] { return ::fcntl(leased, F_SETLEASE, F_WRLCK) == 0; };
        QVERIFY(lease());
        QVERIFY(ReadBinaryFile(file) == "file");
        ::close(leased);
        leased = ::open("file", O_RDONLY);
        QVERIFY(lease());
        QVERIFY(WriteBinaryFile("x", file));
        ::close(leased);
        leased = ::open("file", O_RDONLY);
        QVERIFY(lease());
        QVERIFY(MoveFile(file, untouched));
        ::close(leased);
        ::signal(SIGIO, SIG_DFL);
    }

    void aReadThatFailsGivesNothing()
    {
        // Nothing is mapped where this file begins.
        QCOMPARE(errorOf(QStringLiteral("/proc/self/mem"), true), qt_error_string(EIO));
        // Too large for the result, or for the memory.
        const Tree tree(file);
        QCOMPARE(::truncate("file", Q_INT64_C(1) << 43), 0);
        QString error;
        QVERIFY(ReadBinaryFile(file, &error).isNull());
        QVERIFY(ReadUnicodeTextFile(file).isNull());
        QCOMPARE(error, qt_error_string(sizeof(QByteArray().size()) < 8 ? EFBIG : ENOMEM));
    }

    void bytesComeBackAsWritten()
    {
        const Tree tree(QString{});
        QString error = untouched;
        for (const int size : {1000000, 65536, 1, 0}) {
            QVERIFY(WriteBinaryFile(QByteArray(size, '\0'), file, &error));
            QCOMPARE(ReadBinaryFile(file, &error), QByteArray(size, '\0'));
        }
        QVERIFY(!ReadBinaryFile(file).isNull());
        QVERIFY(!ReadUnicodeTextFile(file, &error).isNull());
        QCOMPARE(error, untouched);
    }

    void aFileMayBeLargerThanItsSizeSays()
    {
        const QString endless = QStringLiteral("/proc/kallsyms"); // its size is 0
        QFile opened(endless);
        QVERIFY(opened.open(QIODevice::ReadOnly));
        const QByteArray content = opened.readAll();
        if (content.size() < 200'000)
            QSKIP("no large file of size 0 here");
        QVERIFY(ReadBinaryFile(endless) == content);
        QVERIFY(ReadUnicodeTextFile(endless).toUtf8() == content);
        for (const auto algorithm : {QCryptographicHash::Md5, QCryptographicHash::Sha1})
            QCOMPARE(TESFileUtil::calcChecksum(endless, algorithm),
                     QCryptographicHash::hash(content, algorithm));
    }

    void aSlowTerminalGetsAllOfIt()
    {
        const Descriptor terminal(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
        const char *name = ::ptsname(terminal.get());
        QVERIFY(::grantpt(terminal.get()) == 0);
        QVERIFY(::unlockpt(terminal.get()) == 0);
        QVERIFY(name != nullptr);
        const Descriptor other(::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC));
        termios settings;
        QCOMPARE(::tcgetattr(other.get(), &settings), 0);
        ::cfmakeraw(&settings); // bytes come as they were written
        QCOMPARE(::tcsetattr(other.get(), TCSANOW, &settings), 0);

        QByteArray sent(200'000, Qt::Uninitialized);
        std::generate(sent.begin(), sent.end(), [i = 0]() mutable { return char('a' + i++ * 7 / 3 % 26); });
        const QString text = QString::fromLatin1(sent);
        const QString path = QString::fromLocal8Bit(name);
        const Ticking ticking; // signals that cut writes short
        for (const bool isText : {true, false}) {
            QByteArray got;
            std::thread reader([&] {
                Ticking::keepOut();
                char block[3000];
                pollfd more = {terminal.get(), POLLIN, 0};
                while (got.size() < sent.size() && ::poll(&more, 1, 3000) > 0) {
                    QThread::usleep(200);
                    got.append(block, int(std::max<ssize_t>(::read(terminal.get(), block, sizeof block), 0)));
                }
            });
            const bool isWritten = isText ? WriteUnicodeTextFile(text, path) : WriteBinaryFile(sent, path);
            reader.join();
            QVERIFY(isWritten);
            QCOMPARE(got, sent);
        }
    }

    void aShortWriteIsTold()
    {
        const Tree tree(file);
        const FileSizeLimit sizeLimit(100'000); // the write that meets it is short, the next one fails
        QString tooLarge;
        QVERIFY(WriteBinaryFile(QByteArray(100'000, 'x'), file));
        QVERIFY(!WriteBinaryFile(QByteArray(100'001, 'x'), file, &tooLarge));
        QCOMPARE(tooLarge, QStringLiteral("Could not write all data to file"));
        QCOMPARE(ReadBinaryFile(file), QByteArray(100'000, 'x'));

        const QString full = QStringLiteral("/dev/full");
        QString error = untouched;
        QVERIFY(WriteBinaryFile("", full, &error));
        QVERIFY(WriteUnicodeTextFile(file, full, &error));
        QCOMPARE(error, untouched);
        QVERIFY(!WriteBinaryFile("x", full));
        QVERIFY(!WriteBinaryFile("x", full, &error));
        QCOMPARE(error, QStringLiteral("Could not write all data to file"));
    }

    void textComesBackUnderEveryCodec()
    {
        const Tree tree(QString(), memory);
        QRandomGenerator random(1);
        QByteArrayList seen;
        const auto codecs = QTextCodec::availableCodecs();
        for (const QByteArray &alias : codecs) {
            QTextCodec *codec = QTextCodec::codecForName(alias);
            if (codec == nullptr || seen.contains(codec->name()))
                continue;
            const QByteArray name = codec->name();
            seen.append(name);
            const bool mended = name == "UTF-7" || name.startsWith("UTF-32");
            const bool severalBlocks = name.startsWith("UTF") || name == "ISO-2022-JP";
            for (const int length : {severalBlocks ? 70000 : 70, 3}) {
                const QString text = textFor(codec, length, random);
                QVERIFY(WriteUnicodeTextFile(text, file, nullptr, name.constData()));
                QVERIFY2(mended || ReadBinaryFile(file) == encoded(text, codec), name.constData());
                QVERIFY2(ReadUnicodeTextFile(file, nullptr, name.constData()) == text, name.constData());
            }
            QByteArray bytes(300, Qt::Uninitialized);
            std::generate(bytes.begin(), bytes.end(), [&] { return char(random.bounded(256)); });
            QVERIFY(WriteBinaryFile(bytes, file));
            const QString read = ReadUnicodeTextFile(file, nullptr, name.constData());
            const QString whole = decoded(bytes, codec);
            QVERIFY2(read == whole || read == whole + QChar(QChar::ReplacementCharacter), name.constData());
        }
        // A pair across the end of each block, and half a pair at the end.
        const QString pairs = QLatin1Char('x') + QStringLiteral("😀").repeated(70000) + QChar(0xd83d);
        for (const char *codec : {"UTF-8", "UTF-32"}) {
            QVERIFY(WriteUnicodeTextFile(pairs, file, nullptr, codec));
            const QString read = ReadUnicodeTextFile(file, nullptr, codec);
            QVERIFY(read.size() == pairs.size());
            QVERIFY(pairs.startsWith(read.chopped(1)));
        }
    }

    void bytesDecodeAs_data()
    {
        QTest::addColumn<QStringList>("bytesCodecText");
        QTest::newRow("a mark is no text") << words("efbbbf61|UTF-8|a");
        QTest::newRow("UTF-16, little end first") << words("fffe6100|UTF-8|a");
        QTest::newRow("half a code unit") << words("fffe610062|UTF-8|a\uFFFD");
        QTest::newRow("a mark alone") << words("efbbbf|UTF-8|");
        QTest::newRow("half a UTF-8 character") << words("61e697|UTF-8|a\uFFFD");
        QTest::newRow("half a Shift_JIS character") << words("6193|Shift_JIS|a\uFFFD");
        const auto locale = QTextCodec::codecForLocale()->toUnicode("\xc3\xa4");
        QTest::newRow("an unknown codec is the locale's")
            << words("c3a4|no such codec") + QStringList(locale);
    }

    void bytesDecodeAs()
    {
        QFETCH(QStringList, bytesCodecText);
        const Tree tree(QString{});
        QVERIFY(WriteBinaryFile(QByteArray::fromHex(bytesCodecText.at(0).toLatin1()), file));
        QCOMPARE(ReadUnicodeTextFile(file, nullptr, qPrintable(bytesCodecText.at(1))), bytesCodecText.last());
    }

    void lineEndingsBecomeLineFeeds()
    {
        const Tree tree(QString(), memory);
        QRandomGenerator random(2);
        for (int round = 0; round < 500; ++round) {
            QString text;
            while (text.size() < (round < 499 ? round % 12 : 300000))
                text += QStringLiteral("\r\n\rab").at(random.bounded(5));
            QString expected = text;
            expected.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
            expected.replace(QLatin1Char('\r'), QLatin1Char('\n'));
            QCOMPARE(ConvertLineEndings(text), expected);
            QVERIFY(WriteUnicodeTextFile(text, file));
            QCOMPARE(ReadUnicodeTextFile(file), text);
            QCOMPARE(ReadUnicodeTextFile(file, nullptr, nullptr, true), expected);
        }
        const QString plain = QStringLiteral("a\nb").repeated(3);
        QCOMPARE(ConvertLineEndings(plain).constData(), plain.constData());
    }

    void aRootThatOthersMayWriteToIsNotUsed_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("isUsed");
        for (const int mode : {0700, 0755, 01770, 01777})
            QTest::addRow("%o", unsigned(mode)) << mode << true;
        for (const int mode : {0770, 0702, 02775})
            QTest::addRow("%o", unsigned(mode)) << mode << false;
        QTest::newRow("an access control list names a writer") << -1 << false;
    }

    void aRootThatOthersMayWriteToIsNotUsed()
    {
        QFETCH(int, mode);
        const Tree tree(QStringLiteral("root/"));
        const TemporaryFolder temporary(tree.path());
        QCoreApplication::setApplicationName(QStringLiteral("root"));
        QCOMPARE(::chmod("root", mode < 0 ? 0700 : mode_t(mode)), 0);
        // POSIX 1003.1e as Linux stores it: version 2; the owner rwx, user 1 rwx, the group nothing, the mask
        // rwx, others nothing.
        const QByteArray list =
            QByteArray::fromHex("02000000 01000700ffffffff 0200070001000000 04000000ffffffff "
                                "10000700ffffffff 20000000ffffffff");
        if (mode < 0 &&
            ::setxattr("root", "system.posix_acl_access", list.constData(), std::size_t(list.size()), 0) != 0)
            QSKIP("no access control lists here");
        QTEST(QFileInfo::exists(GetNewTempFolderPath(true)), "isUsed");
        QTEST(QFileInfo::exists(QFileInfo(GetNewTempFilePath(QStringLiteral("a/b"))).path()), "isUsed");
    }

    void withoutATemporaryFolderNothingIsCreated()
    {
        const Tree tree(file);
        const TemporaryFolder temporary(tree.path() + QStringLiteral("/missing"));
        QCoreApplication::setApplicationName(CreateUUID()); // of a folder in "/" if this fails
        QVERIFY(!QFileInfo::exists(GetNewTempFolderPath(true)));
        QVERIFY(!QFileInfo::exists(QFileInfo(GetNewTempFilePath()).path()));
        QVERIFY(CreateTemporaryCopy(file).isNull());
        QCOMPARE(Tree::describe(), file);
    }

    void freeNames_data()
    {
        QTest::addColumn<QStringList>("row"); // taken, name, separator, GetUnique..., GetUniqueSequential...
        QTest::newRow("taken twice") << words("R.txt R_1.txt R-1.txt|R.txt||/R_1_2.txt|/R 1.txt");
        QTest::newRow("a separator") << words("R.x R-1.x R-1-2.x|R.x|-|/R-1-2-3.x|/R 1.x");
        QTest::newRow("no suffix") << words("Chapter/|Chapter||/Chapter_1.|/Chapter 1.");
        QTest::newRow("several dots") << words("a.tar.gz|a.tar.gz||/a.tar_1.gz|/a.tar 1.gz");
        QTest::newRow("a leading dot") << words(".profile|.profile||/_1.profile|/ 1.profile");
        QTest::newRow("in a folder") << words("f/ f/x.y|f/x.y||/f/x_1.y|/f/x 1.y");
        QTest::newRow("a link into nothing is free") << words("link->missing|link||link|link");
    }

    void freeNames()
    {
        QFETCH(QStringList, row);
        const Tree tree(row.at(0));
        const auto shortened = [&](QString path) { return path.replace(tree.path(), QString()); };
        QCOMPARE(shortened(GetUniqueFileName(row.at(1), row.at(2))), row.at(3));
        QCOMPARE(shortened(GetUniqueSequentialFileName(row.at(1))), row.at(4));
    }

    void freeNamesEndWhereNamesEnd()
    {
        const Tree tree(file);
        QString path = file;
        while (WriteBinaryFile("", path))
            path = GetUniqueFileName(file);
        QVERIFY(QFileInfo(path).fileName().size() > 255);
    }
};

QTEST_GUILESS_MAIN(TestContents)
#include "test_contents.moc"
