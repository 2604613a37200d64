#include "support/tree.h"

#include <TesCore/TESCoreUtil.h>
#include <TesCore/TESFileUtil.h>

#include <QTest>

using namespace TESCoreUtil;

namespace {

const QString untouched = text("untouched");

void addPaths(std::initializer_list<const char *> paths)
{
    QTest::addColumn<QString>("path");
    for (const char *path : paths)
        QTest::newRow(path) << text(path);
}

/// What a walk by Qt's own lists gives below a folder.
QStringList filesBelow(const QDir &folder) // NOLINT(misc-no-recursion): three levels
{
    QStringList files;
    const auto entries = folder.entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot);
    for (const QFileInfo &entry : entries)
        files += entry.isDir() ? filesBelow(entry.absoluteFilePath()) : QStringList(entry.absoluteFilePath());
    return files;
}

} // namespace

/// The first folder of the prefix "both" lies on the disk, the second is one of resources.
class TestResources : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { QDir::setSearchPaths(text("both"), {}); }

    void readersTakeWhatQFileTakes_data()
    {
        addPaths({":/docs/help.txt", ":docs/help.txt", ":/docs", ":/docs/", ":/none", ":", ":/", ":real",
                  "both:help.txt", "both:onDisk", "both:none", "both:B", "other:help.txt", "x:real",
                  "folder/both:help.txt"});
    }

    void readersTakeWhatQFileTakes()
    {
        QFETCH(QString, path);
        const Tree tree(QStringLiteral("folder/ folder/onDisk x:real :real other:help.txt both:none=1 "
                                       "folder/both:help.txt"));
        QDir::setSearchPaths(text("both"), {tree.path() + text("/folder"), text(":/docs")});
        QFile opened(path);
        const bool isReadable = opened.open(QIODevice::ReadOnly);
        const QByteArray content = isReadable ? opened.readAll() : QByteArray();
        const QString expectedError = isReadable ? untouched : opened.errorString();

        QString error = untouched;
        QCOMPARE(ReadBinaryFile(path, &error), content);
        QCOMPARE(error, expectedError);
        error = untouched;
        QCOMPARE(ReadUnicodeTextFile(path, &error).toUtf8(), content);
        QCOMPARE(error, expectedError);
        QCOMPARE(ReadUnicodeTextFile(path, nullptr, nullptr, true),
                 QString::fromUtf8(content).remove(QLatin1Char('\r')));
        for (const auto algorithm : {QCryptographicHash::Sha1, QCryptographicHash::Md5})
            QCOMPARE(TESFileUtil::calcChecksum(path, algorithm),
                     isReadable ? QCryptographicHash::hash(content, algorithm) : QByteArray());

        const QFileInfo info(path);
        error = untouched;
        QCOMPARE(IsReadable(path, &error), info.isDir() ? info.isReadable() : isReadable);
        QCOMPARE(error, info.isDir() ? untouched : expectedError);
        QCOMPARE(GetUniqueFileName(path) == path, !info.exists());
        QCOMPARE(GetUniqueSequentialFileName(path) == path, !info.exists());

        const QString copy = CreateTemporaryCopy(path);
        QCOMPARE(copy.isNull(), !info.isFile());
        QCOMPARE(QFileInfo(copy).suffix(), copy.isNull() ? QString() : info.suffix());
        QCOMPARE(ReadBinaryFile(copy), copy.isNull() ? QByteArray() : content);
        QVERIFY(DeleteFile(copy));
    }

    void resourcesAreNotChanged_data()
    {
        addPaths({":/docs/help.txt", ":/docs", ":/none", ":", "both:help.txt"});
    }

    void resourcesAreNotChanged()
    {
        QFETCH(QString, path);
        const Tree tree(text("file"));
        QDir::setSearchPaths(text("both"), {text(":/docs")});
        QFile opened(path);
        QVERIFY(!opened.open(QIODevice::WriteOnly));
        const QString expected = opened.errorString();
        QString errors[] = {untouched, untouched, untouched, untouched};
        QVERIFY(!WriteBinaryFile("x", path, &errors[0]));
        QVERIFY(!WriteUnicodeTextFile(untouched, path, &errors[1]));
        QCOMPARE(errors[0] + errors[1], expected + expected);
        QVERIFY(!IsWritable(path, &errors[2]));
        QCOMPARE(errors[2], QFileInfo(path).isDir() ? untouched : expected);
        QCOMPARE(DeleteFile(path, &errors[3]), !opened.exists());
        QCOMPARE(errors[3], opened.exists() ? (opened.remove(), opened.errorString()) : untouched);
        QCOMPARE(DeleteFolderAndFiles(path), !QFileInfo::exists(path));
        QCOMPARE(DeleteFolderContents(path), QDir(path).isEmpty());
        const QString file = text("file");
        QVERIFY(!RenameFile(path, text("new")));
        QVERIFY(!RenameFile(file, path, true));
        QVERIFY(!MoveFile(file, path, true));
        QVERIFY(!MoveDirectory(path, text("new")));
        QVERIFY(!MoveDirectoryQuick(path, text("new")));
        QVERIFY(!CopyDirectory(QDir(), path));
        QCOMPARE(Tree::describe(), file);
    }

    void aMoveCopiesAResource()
    {
        const Tree tree(text("old folder/ link->old"));
        const QString resource = text(":/docs/help.txt");
        QVERIFY(!MoveFile(resource, text("old")));
        QVERIFY(!MoveFile(resource, text("folder"), true));
        QVERIFY(MoveFile(resource, text("new")));
        QVERIFY(MoveFile(resource, text("old"), true));
        QCOMPARE(Tree::describe(), text("folder/ link->old new=help\r\n old=help\r\n"));
        QVERIFY(QFile::exists(resource));
    }

    void treesOfResources_data()
    {
        addPaths({":/docs", ":/docs/B/", ":/none", ":/docs/help.txt", "both:B", "both:deep"});
    }

    void treesOfResources()
    {
        QFETCH(QString, path);
        const Tree tree(text("disk/ disk/deep/ disk/deep/file"));
        QDir::setSearchPaths(text("both"), {tree.path() + text("/disk"), text(":/docs")});
        const QStringList files = filesBelow(path);
        QCOMPARE(RecursiveGetFiles(path), files);
        QStringList expected;
        const QString root = QDir(path).absolutePath() + QLatin1Char('/');
        for (const QString &file : files) {
            const QString name = file.mid(root.size());
            for (auto slash = name.indexOf(QLatin1Char('/')); slash >= 0;
                 slash = name.indexOf(QLatin1Char('/'), slash + 1))
                expected.append(name.left(slash + 1));
            expected.append(name + (name == QLatin1String("file") ? QString() : text("=help\r\n")));
        }
        expected.removeDuplicates();
        expected.sort();
        QCOMPARE(getFileAndDirCount(path), int(expected.size()));

        QVERIFY(CopyDirectory(path, text("copy/in")));
        QCOMPARE(Tree::describe("copy/in"), expected.join(QLatin1Char(' ')));
        QCOMPARE(CopyDirectory(path, text("copy/in")), expected.isEmpty());
        QVERIFY(QDir().mkdir(text("files")));
        CopyFiles(path, text("files"));
        QCOMPARE(Tree::describe("files"), expected.join(QLatin1Char(' ')));
    }

    void whatIsThereStays()
    {
        const Tree tree(text("D/ D/B/ taken/ taken/c.txt taken/B/ taken/B/own"));
        QVERIFY(!CopyDirectory(QDir(text(":/docs")), QDir(text("D"))));
        CopyFiles(text(":/docs"), text("taken"));
        CopyFiles(text(":/docs/B"), text("missing")); // the first folder makes it
        CopyFiles(text(":/docs/B/deep"), text("never"));
        QCOMPARE(
            Tree::describe(),
            text("D/ D/.hidden=help\r\n D/B/ missing/ missing/deep/ missing/deep/a.txt=help\r\n taken/ "
                 "taken/.hidden=help\r\n "
                 "taken/B/ "
                 "taken/B/b.txt=help\r\n taken/B/deep/ taken/B/deep/a.txt=help\r\n taken/B/own taken/c.txt "
                 "taken/help.txt=help\r\n"));
    }
};

QTEST_GUILESS_MAIN(TestResources)
#include "test_resources.moc"
