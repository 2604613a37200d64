// Runs each file operation again and again, each time with the memory used up one allocation later: for good,
// or for that one. Nothing gets a gigabyte.

#include "support/tree.h"

#include <TesCore/TESCoreUtil.h>
#include <TesCore/TESFileUtil.h>

#include <QRegularExpression>
#include <QTest>
#include <QTextCodec>

#include <cerrno>
#include <functional>
#include <limits>
#include <vector>

// What the C library keeps for those who stand before its allocator.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
extern "C" void *__libc_malloc(std::size_t size);
extern "C" void *__libc_calloc(std::size_t count, std::size_t size);
extern "C" void *__libc_realloc(void *memory, std::size_t size);
extern "C" void *__libc_memalign(std::size_t alignment, std::size_t size);
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)

namespace {

constexpr long never = -1;
constexpr std::size_t largest = 1U << 30;
thread_local long remaining = never; // so many allocations succeed before all fail
thread_local bool isUsedUp = false;
thread_local bool isLasting = false; // else the allocation after the failed one succeeds again

bool isRefused(std::size_t size)
{
    if (size < largest) {
        if (remaining == never || remaining-- > 0)
            return false;
        remaining = isLasting ? 0 : never;
        isUsedUp = true;
    }
    errno = ENOMEM;
    return true;
}

} // namespace

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the headers use reserved names
extern "C" void *malloc(std::size_t size)
{
    return isRefused(size) ? nullptr : __libc_malloc(size);
}

extern "C" void *calloc(std::size_t count, std::size_t size)
{
    return isRefused(count * size) ? nullptr : __libc_calloc(count, size);
}

extern "C" void *realloc(void *memory, std::size_t size)
{
    return isRefused(size) ? nullptr : __libc_realloc(memory, size);
}

extern "C" void *aligned_alloc(std::size_t alignment, std::size_t size)
{
    return isRefused(size) ? nullptr : __libc_memalign(alignment, size);
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

using namespace TESCoreUtil;

namespace {

const QString source = text("S");
const QString target = text("D");
const QString file = text("S/a");
const QString taken = text("D/x");
const QString fresh = text("D/new");
const QByteArray bytes("a");
const QString letter = text("a");
constexpr const char *codec = "ISO-8859-15";

/// True for the right answer, false for a failure; there is no third.
template <typename Answer>
bool answers(const Answer &given, const Answer &right)
{
    remaining = never;
    if (given != right && given != Answer())
        qFatal("neither right nor a failure");
    return given == right;
}

struct Operation
{
    const char *name;
    std::function<bool()> run;
};

const std::vector<Operation> &operations()
{
    static const std::vector<Operation> all = {
        {"ReadBinaryFile", [] { return answers(ReadBinaryFile(file), bytes); }},
        {"ReadUnicodeTextFile",
         [] { return answers(ReadUnicodeTextFile(file, nullptr, codec, true), letter); }},
        {"WriteBinaryFile", [] { return WriteBinaryFile(bytes, fresh); }},
        {"WriteUnicodeTextFile", [] { return WriteUnicodeTextFile(letter, fresh, nullptr, codec); }},
        {"ConvertLineEndings",
         [] { return answers(ConvertLineEndings(QStringLiteral("a\r\n")), QStringLiteral("a\n")); }},
        {"calcHashSum", [] { return calcHashSum(file).size() == 20; }},
        {"calcChecksum",
         [] { return TESFileUtil::calcChecksum(file, QCryptographicHash::Md5).size() == 16; }},
        {"GetUniqueFileName", [] { return !GetUniqueFileName(file).isNull(); }},
        {"GetUniqueSequentialFileName", [] { return !GetUniqueSequentialFileName(file).isNull(); }},
        {"GetNewTempFolderPath", [] { return !GetNewTempFolderPath(true).isNull(); }},
        {"GetNewTempFilePath", [] { return !GetNewTempFilePath(letter).isNull(); }},
        {"CreateTemporaryCopy", [] { return !CreateTemporaryCopy(file).isNull(); }},
        {"IsReadable", [] { return IsReadable(file); }},
        {"IsWritable", [] { return IsWritable(fresh); }},
        {"RenameFile", [] { return RenameFile(file, taken, true); }},
        {"MoveFile", [] { return MoveFile(file, fresh); }},
        {"MoveFile onto a file", [] { return MoveFile(file, taken, true); }},
        {"MoveDirectoryQuick", [] { return MoveDirectoryQuick(source, target); }},
        {"MoveDirectory", [] { return MoveDirectory(source, target); }},
        {"CopyDirectory", [from = QDir(source), to = QDir(target)] { return CopyDirectory(from, to); }},
        {"CopyFiles", [] { return CopyFiles(source, target), true; }},
        {"RecursiveGetFiles", [] { return answers(int(RecursiveGetFiles(source).size()), 3); }},
        {"getFileAndDirCount", [] { return answers(getFileAndDirCount(source), 4); }},
        {"DeleteFile", [] { return DeleteFile(taken); }},
        {"DeleteFolderContents", [] { return DeleteFolderContents(target); }},
        {"DeleteFolderAndFiles", [] { return DeleteFolderAndFiles(target); }},
    };
    return all;
}

} // namespace

class TestMemory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // Creating a codec does not survive a failure in Qt 6 (seen in 6.4); finding one that is there does.
        QVERIFY(QTextCodec::codecForName(codec) != nullptr);
        QVERIFY(QTextCodec::codecForLocale() != nullptr);
    }

    void aFileBeyondTheResultIsNotTriedAtAll()
    {
        // Qt 5 counts bytes in an int, its own header included; the memory for as much is refused.
        const bool isInt = sizeof(QByteArray().size()) < 8;
        const qint64 limit = isInt ? std::numeric_limits<int>::max() - 64 : Q_INT64_C(1) << 40;
        const Tree tree(letter);
        for (const qint64 size : {limit - 1, limit, Q_INT64_C(5) << 30}) {
            QCOMPARE(::truncate("a", size), 0);
            QString error;
            QVERIFY(ReadBinaryFile(letter, &error).isNull());
            QCOMPARE(error, qt_error_string(isInt && size >= limit ? EFBIG : ENOMEM));
        }
        // A code unit takes four bytes at most.
        const qint64 limitOfText = isInt ? limit / 2 : limit;
        for (const qint64 size : {4 * limitOfText + 3, 4 * limitOfText + 4}) {
            QCOMPARE(::truncate("a", size), 0);
            QString error;
            QVERIFY(ReadUnicodeTextFile(letter, &error).isNull());
            QCOMPARE(error, qt_error_string(isInt && size > 4 * limitOfText + 3 ? EFBIG : ENOMEM));
        }
    }

    void nothingIsThrownAndNothingLost_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<bool>("lasting");
        for (std::size_t i = 0; i < operations().size(); ++i) {
            QTest::newRow(operations()[i].name) << int(i) << true;
            QTest::addRow("%s, once", operations()[i].name) << int(i) << false;
        }
    }

    void nothingIsThrownAndNothingLost()
    {
        QFETCH(int, index);
        QFETCH(bool, lasting);
        isLasting = lasting;
        const Operation &operation = operations()[std::size_t(index)];
        QCoreApplication::setApplicationName(text("test"));
        isUsedUp = true;
        long allocations = 0;
        for (; isUsedUp; ++allocations) {
            const Tree tree(text("S/ S/a S/b/ S/b/c S/l->a D/ D/x"), text("/dev/shm"));
            qputenv("TMPDIR", tree.path().toLocal8Bit());
            const auto open = openDescriptors();
            isUsedUp = false;
            remaining = allocations;
            const bool succeeded = operation.run();
            remaining = never;
            QVERIFY(succeeded || isUsedUp);
            QCOMPARE(openDescriptors(), open);
            const QString found = Tree::describe() + QLatin1Char(' ');
            for (const char *kept : {"[/=]a ", "/c "})
                QVERIFY2(found.contains(QRegularExpression(QLatin1String(kept))), qPrintable(found));
            // Without memory even to undo, two names of one file may stay.
            for (const auto &entry : std::filesystem::recursive_directory_iterator("."))
                QVERIFY(isLasting || !entry.is_regular_file() || entry.is_symlink() ||
                        entry.hard_link_count() == 1);
        }
        QVERIFY(allocations > 1);
    }
};

QTEST_GUILESS_MAIN(TestMemory)
#include "test_memory.moc"
