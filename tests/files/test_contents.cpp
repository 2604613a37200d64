#include "support/oracles.h"
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
#include <functional>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/xattr.h>
#include <termios.h>

using namespace TESCoreUtil;
using TesCoreBase::Descriptor;

namespace {

const QString file = text("file");
// Where replacing a file again and again does not wait for a disk.
const QString memory = text("/dev/shm");
const QString untouched = text("untouched");
int leased = -1;

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
    const auto points = text("az09 ~+-&\\\n\r\tÄéñ€ёжЖαγש日本アｱ简한국😀𐍈\u0001").toUcs4();
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

/// The error of all reads, or all writes, of a path, each of which must fail.
QString errorOf(const QString &path, bool reading)
{
    QString error = untouched;
    QString textError = untouched;
    const bool failed =
        reading ? ReadBinaryFile(path, &error).isNull() && calcHashSum(path).isNull() &&
                      ReadUnicodeTextFile(path, &textError, nullptr, true).isNull()
                : !WriteBinaryFile("x", path, &error) && !WriteUnicodeTextFile(file, path, &textError);
    return failed && error == textError ? error : text("not refused");
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
        const Tree tree(text("file locked folder/ loop->loop"));
        QCOMPARE(::chmod("locked", 0), 0);
        for (const char *name :
             {"missing", "locked", "folder", "folder/", "loop", "file/", "file/in", "no/in"}) {
            const QString path = text(name);
            QFile opened(path);
            opened.open(QIODevice::ReadOnly);
            QCOMPARE(errorOf(path, true), opened.errorString());
            if (!opened.open(QIODevice::WriteOnly | QIODevice::Truncate))
                QCOMPARE(errorOf(path, false), opened.errorString());
        }
    }

    void whatCouldBlockIsRefused()
    {
        const Tree tree(text("fifo| file"));
        const QString withNul = file + QChar(QChar::Null);
        for (const bool reading : {true, false}) {
            QCOMPARE(errorOf(text("fifo"), reading), qt_error_string(EOPNOTSUPP));
            QCOMPARE(errorOf(withNul, reading), qt_error_string(EINVAL));
            QCOMPARE(errorOf(QString(QChar(0xd800)), reading), qt_error_string(EILSEQ));
            QCOMPARE(errorOf(QString(), reading), text("No file name specified"));
        }
        QCOMPARE(errorOf(text("/dev/zero"), true), qt_error_string(EOPNOTSUPP));
        QCOMPARE(errorOf(text("/proc/self/mem"), true),
                 qt_error_string(EIO)); // nothing is mapped at its begin
        QCOMPARE(GetUniqueFileName(withNul), withNul);
    }

    void aLeaseIsWaitedFor()
    {
        const Tree tree(file, memory);
        ::signal(SIGIO, [](int) { ::fcntl(leased, F_SETLEASE, F_UNLCK); });
        const std::function<bool()> operations[] = {[] { return ReadBinaryFile(file) == "file"; },
                                                    [] { return WriteBinaryFile("x", file); },
                                                    [] { return MoveFile(file, untouched); }};
        for (const auto &operation : operations) {
            leased = ::open("file", O_RDONLY);
            QVERIFY(::fcntl(leased, F_SETLEASE, F_WRLCK) == 0);
            QVERIFY(operation());
            ::close(leased);
        }
        ::signal(SIGIO, SIG_DFL);
    }

    void bytesComeBackAsWritten()
    {
        const Tree tree;
        QString error = untouched;
        for (const int size : {5'000'000, 65536, 1, 0}) {
            QVERIFY(WriteBinaryFile(QByteArray(size, '\0'), file, &error));
            QCOMPARE(ReadBinaryFile(file, &error), QByteArray(size, '\0'));
        }
        QVERIFY(!ReadBinaryFile(file).isNull());
        QVERIFY(!ReadUnicodeTextFile(file, &error).isNull());
        QCOMPARE(error, untouched);
    }

    void aFileMayBeLargerThanItsSizeSays()
    {
        const QString endless = text("/proc/kallsyms"); // its size is 0
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
        char name[64];
        if (!terminal.isOpen() || ::grantpt(terminal.get()) != 0)
            QSKIP("no pseudo-terminals here");
        QVERIFY(::unlockpt(terminal.get()) == 0);
        QCOMPARE(::ptsname_r(terminal.get(), name, sizeof name), 0);
        const Descriptor other(::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC));
        termios settings;
        QCOMPARE(::tcgetattr(other.get(), &settings), 0);
        ::cfmakeraw(&settings); // bytes come as they were written
        QCOMPARE(::tcsetattr(other.get(), TCSANOW, &settings), 0);

        QByteArray sent(200'000, Qt::Uninitialized);
        std::generate(sent.begin(), sent.end(), [i = 0]() mutable { return char('a' + i++ * 7 / 3 % 26); });
        const QString sentText = QString::fromLatin1(sent);
        const QString path = QString::fromLocal8Bit(name);
        for (const bool isText : {true, false}) {
            QByteArray got;
            std::thread reader([&] {
                char block[3000];
                pollfd more = {terminal.get(), POLLIN, 0};
                while (got.size() < sent.size() && ::poll(&more, 1, 3000) > 0) {
                    QThread::usleep(200);
                    got.append(block, int(std::max<ssize_t>(::read(terminal.get(), block, sizeof block), 0)));
                }
            });
            const bool isWritten =
                isText ? WriteUnicodeTextFile(sentText, path) : WriteBinaryFile(sent, path);
            reader.join();
            QVERIFY(isWritten);
            QCOMPARE(got, sent);
        }
    }

    void aShortWriteIsTold()
    {
        const Tree tree(file);
        rlimit limit;
        QVERIFY(::getrlimit(RLIMIT_FSIZE, &limit) == 0);
        const rlimit lowered = {100'000,
                                limit.rlim_max}; // the write that meets it is short, the next one fails
        ::signal(SIGXFSZ, SIG_IGN);
        QVERIFY(::setrlimit(RLIMIT_FSIZE, &lowered) == 0);
        QString tooLarge;
        QVERIFY(WriteBinaryFile(QByteArray(100'000, 'x'), file));
        QVERIFY(!WriteBinaryFile(QByteArray(100'001, 'x'), file, &tooLarge));
        QCOMPARE(tooLarge, text("Could not write all data to file"));
        QCOMPARE(ReadBinaryFile(file), QByteArray(100'000, 'x'));
        ::setrlimit(RLIMIT_FSIZE, &limit);

        const QString full = text("/dev/full");
        QString error = untouched;
        QVERIFY(WriteBinaryFile("", full, &error));
        QVERIFY(WriteUnicodeTextFile(file, full, &error));
        QCOMPARE(error, untouched);
        QVERIFY(!WriteBinaryFile("x", full));
        QVERIFY(!WriteBinaryFile("x", full, &error));
        QCOMPARE(error, text("Could not write all data to file"));
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
                const QString given = textFor(codec, length, random);
                QVERIFY(WriteUnicodeTextFile(given, file, nullptr, name.constData()));
                QVERIFY2(mended || ReadBinaryFile(file) == encoded(given, codec), name.constData());
                QVERIFY2(ReadUnicodeTextFile(file, nullptr, name.constData()) == given, name.constData());
            }
            QByteArray bytes(300, Qt::Uninitialized);
            std::generate(bytes.begin(), bytes.end(), [&] { return char(random.bounded(256)); });
            QVERIFY(WriteBinaryFile(bytes, file));
            const QString read = ReadUnicodeTextFile(file, nullptr, name.constData());
            const QString whole = decoded(bytes, codec);
            QVERIFY2(read == whole || read == whole + QChar(QChar::ReplacementCharacter), name.constData());
        }
        // A pair across the end of each block, and half a pair at the end.
        const QString pairs = QLatin1Char('x') + text("😀").repeated(70000) + QChar(0xd83d);
        for (const char *codec : {"UTF-8", "UTF-32"}) {
            QVERIFY(WriteUnicodeTextFile(pairs, file, nullptr, codec));
            const QString read = ReadUnicodeTextFile(file, nullptr, codec);
            QVERIFY(read.size() == pairs.size());
            QVERIFY(pairs.startsWith(read.chopped(1)));
        }
    }

    void bytesDecodeAs()
    {
        const Tree tree;
        const QString localeText = QTextCodec::codecForLocale()->toUnicode("\xc3\xa4");
        const struct
        {
            const char *bytes, *codec;
            QString text;
        } rows[] = {{"efbbbf61", "UTF-8", text("a")},         {"fffe6100", "UTF-8", text("a")},
                    {"fffe610062", "UTF-8", text("a\uFFFD")}, {"efbbbf", "UTF-8", QString()},
                    {"61e697", "UTF-8", text("a\uFFFD")},     {"6193", "Shift_JIS", text("a\uFFFD")},
                    {"c3a4", "no such codec", localeText}};
        for (const auto &row : rows) {
            QVERIFY(WriteBinaryFile(QByteArray::fromHex(row.bytes), file));
            QCOMPARE(ReadUnicodeTextFile(file, nullptr, row.codec), row.text);
        }
    }

    void lineEndingsBecomeLineFeeds()
    {
        const Tree tree(QString(), memory);
        QRandomGenerator random(2);
        for (int round = 0; round < 500; ++round) {
            QString given;
            while (given.size() < (round < 499 ? round % 12 : 300000))
                given += text("\r\n\rab").at(random.bounded(5));
            const QString expected = Oracle::convertLineEndings(given);
            QCOMPARE(ConvertLineEndings(given), expected);
            QVERIFY(WriteUnicodeTextFile(given, file));
            QCOMPARE(ReadUnicodeTextFile(file), given);
            QCOMPARE(ReadUnicodeTextFile(file, nullptr, nullptr, true), expected);
        }
        const QString plain = text("a\nb").repeated(3);
        QCOMPARE(ConvertLineEndings(plain).constData(), plain.constData());
    }

    void aRootThatOthersMayWriteToIsNotUsed()
    {
        const Tree tree(text("root/"));
        const TemporaryFolder temporary(tree.path());
        QCoreApplication::setApplicationName(text("root"));
        const auto isUsed = [] {
            const bool isUsedForFolders = QFileInfo::exists(GetNewTempFolderPath(true));
            const bool isUsedForFiles = QFileInfo::exists(QFileInfo(GetNewTempFilePath(text("a/b"))).path());
            return isUsedForFolders == isUsedForFiles ? int(isUsedForFolders) : -1;
        };
        for (const auto &[mode, expected] : {std::pair(0700U, 1),
                                             {0755U, 1},
                                             {01770U, 1},
                                             {01777U, 1},
                                             {0770U, 0},
                                             {0702U, 0},
                                             {02775U, 0}}) {
            QCOMPARE(::chmod("root", mode), 0);
            QVERIFY2(isUsed() == expected, qPrintable(QString::number(mode, 8)));
        }
        // acl(5): the owner rwx, user 1 rwx, the group nothing, the mask rwx, others nothing.
        const QByteArray list =
            QByteArray::fromHex("02000000 01000700ffffffff 0200070001000000 04000000ffffffff "
                                "10000700ffffffff 20000000ffffffff");
        QCOMPARE(::chmod("root", 0700), 0);
        if (::setxattr("root", "system.posix_acl_access", list.constData(), std::size_t(list.size()), 0) != 0)
            QSKIP("no access control lists here");
        QCOMPARE(isUsed(), 0);
    }

    void withoutATemporaryFolderNothingIsCreated()
    {
        const Tree tree(file);
        const TemporaryFolder temporary(tree.path() + text("/missing"));
        QCoreApplication::setApplicationName(CreateUUID()); // of a folder in "/" if this fails
        QVERIFY(!QFileInfo::exists(GetNewTempFolderPath(true)));
        QVERIFY(!QFileInfo::exists(QFileInfo(GetNewTempFilePath()).path()));
        QVERIFY(CreateTemporaryCopy(file).isNull());
        QCOMPARE(Tree::describe(), file);
    }

    void freeNames()
    {
        const struct
        {
            const char *taken, *name, *separator, *unique, *sequential;
        } rows[] = {{"R.txt R_1.txt R-1.txt", "R.txt", "", "/R_1_2.txt", "/R 1.txt"},
                    {"R.x R-1.x R-1-2.x", "R.x", "-", "/R-1-2-3.x", "/R 1.x"},
                    {"Chapter/", "Chapter", "", "/Chapter_1.", "/Chapter 1."},
                    {"a.tar.gz", "a.tar.gz", "", "/a.tar_1.gz", "/a.tar 1.gz"},
                    {".profile", ".profile", "", "/_1.profile", "/ 1.profile"},
                    {"f/ f/x.y", "f/x.y", "", "/f/x_1.y", "/f/x 1.y"},
                    {"link->missing", "link", "", "link", "link"}};
        for (const auto &row : rows) {
            const Tree tree(text(row.taken));
            const auto shortened = [&](QString path) { return path.remove(tree.path()); };
            QCOMPARE(shortened(GetUniqueFileName(text(row.name), text(row.separator))), text(row.unique));
            QCOMPARE(shortened(GetUniqueSequentialFileName(text(row.name))), text(row.sequential));
        }
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
