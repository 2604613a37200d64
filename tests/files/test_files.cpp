#include <TesCore/TESTempFolder.h>

#include "support/operations.h"
#include "support/tree.h"

#include <QRandomGenerator>
#include <QTest>
#include <QThreadPool>

#include <cstdlib>
#include <functional>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/resource.h>

using namespace TESCoreUtil;

namespace {

std::function<int()> atSync;
int syncs = 0;

} // namespace

/// Stands before the C library's, and counts instead of waiting for a disk: what happens between the copy and
/// the deletion of a move.
extern "C" int syncfs(int)
{
    ++syncs;
    return atSync ? atSync() : 0;
}

namespace {

QString folderOnAnotherDevice()
{
    struct stat here, there;
    const bool isOther =
        ::stat(".", &here) == 0 && ::stat("/dev/shm", &there) == 0 && here.st_dev != there.st_dev;
    return isOther ? QStringLiteral("/dev/shm") : QString();
}

/// Makes a chain of `depth` folders "d" in the working folder, with a file at its end. Longer than any path
/// may be.
void makeDeepFolder(const char *root, int depth)
{
    ::mkdir(root, 0700);
    int folder = ::open(root, O_RDONLY);
    for (int i = 0; i < depth; ++i) {
        ::mkdirat(folder, "d", 0700);
        const int next = ::openat(folder, "d", O_RDONLY);
        ::close(std::exchange(folder, next));
    }
    ::close(::openat(folder, "end", O_CREAT | O_WRONLY, 0600));
    ::close(folder);
}

} // namespace

class TestFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void operations_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("command");
        QTest::addColumn<bool>("result");
        QTest::addColumn<QString>("after");
        const auto row = [](const char *name, const char *before, const char *command, bool result,
                            const char *after = nullptr) {
            QStringList expected = QString::fromLatin1(after ? after : before).split(QLatin1Char(' '));
            expected.sort();
            QTest::newRow(name) << QString::fromLatin1(before) << QString::fromLatin1(command) << result
                                << expected.join(QLatin1Char(' '));
        };

        row("a file is deleted", "a b", "unlink a", true, "b");
        row("nothing to delete is success", "b", "unlink a", true);
        row("a folder is no file to delete", "a/", "unlink a", false);
        row("a dangling link is nothing to delete", "a->gone", "unlink a", true);
        row("deleting a link keeps its target", "a->t t", "unlink a", true, "t");

        row("a file is renamed", "a", "rename a b", true, "b=a");
        row("a folder is renamed", "a/ a/x", "rename a b", true, "b/ b/x");
        row("a link is renamed as a link", "a->t t", "rename a b", true, "b->t t");
        row("a missing source is not renamed", "b", "rename! a b", false);
        row("a rename does not overwrite", "a b", "rename a b", false);
        row("a rename overwrites when told", "a b", "rename! a b", true, "b=a");
        row("a rename does not replace a folder", "a b/", "rename! a b", false);
        row("a rename does not replace a dangling link", "a b->gone", "rename! a b", false);
        row("a rename replaces a link, not its target", "a b->t t", "rename! a b", true, "b=a t");
        row("a folder replaces a file", "a/ a/x b", "rename! a b", true, "b/ b/x");
        row("a folder named with a slash replaces a file", "a/ a/x b", "rename! ./a/ b", true, "b/ b/x");
        row("a folder does not replace a file of its own", "a/ a/x", "rename! a a/x", false);
        row("a folder does not move into itself", "a/", "rename a a/x", false);
        row("a file renamed onto itself survives", "a", "rename! a ./a", false);
        row("a link does not replace its target", "a->b b", "rename! a b", false);
        row("a link does not replace a link on its way", "a->b b->c c", "rename! a b", false);
        row("a link may replace another to its target", "a->c b->c c", "rename! a b", true, "b->c c");

        row("a file is moved", "a", "mv a b", true, "b=a");
        row("a move does not overwrite", "a b", "mv a b", false);
        row("a move overwrites when told", "a b", "mv! a b", true, "b=a");
        row("a move copies what a link leads to", "a->t t", "mv a b", true, "b=t t");
        row("a move of a link does not replace its target", "a->b b", "mv! a b", false);
        row("a file moved onto itself survives", "a", "mv! a a", false);
        row("a move does not replace a folder", "a b/", "mv! a b", false);
        row("a folder is no file to move", "a/ b", "mv! a b", false);
        row("a FIFO is no file to move", "a| b", "mv! a b", false);
        row("a failed move keeps the destination", "a->gone b", "mv! a b", false);
        row("a move to a name that only a folder may have", "a", "mv a b/", false);

        row("quick: files go, folders stay", "S/ S/a S/b/ S/b/c", "quick S D", true,
            "D/ D/a D/b/ D/b/c S/ S/b/");
        row("quick: taken names stay", "S/ S/a=1 S/b D/ D/a=2", "quick S D", false, "D/ D/a=2 D/b S/ S/a=1");
        row("quick: a taken folder is skipped whole", "S/ S/a/ S/a/x S/b D/ D/a/", "quick S D", false,
            "D/ D/a/ D/b S/ S/a/ S/a/x");
        row("quick: missing parents are made", "S/ S/a", "quick S D/e/f", true, "D/ D/e/ D/e/f/ D/e/f/a S/");
        row("quick: hidden and special entries stay", "S/ S/.h S/p| S/l->gone", "quick S D", true,
            "D/ S/ S/.h S/l->gone S/p|");
        row("quick: a cycle is told", "S/ S/a S/l->.", "quick S D", false, "D/ D/a D/l/ S/ S/l->.");
        row("quick: not into itself", "S/ S/a", "quick S S/b", false);
        row("quick: up to its parent", "P/ P/S/ P/S/a", "quick P/S P", true, "P/ P/S/ P/a");

        row("move: a new destination", "S/ S/a S/b/ S/b/c", "move S D", true, "D/ D/a D/b/ D/b/c");
        row("move: what was there is replaced", "S/ S/a D/ D/x D/.h", "move S D", true, "D/ D/.h D/a");
        row("move: hidden entries stay", "S/ S/a S/b/ S/b/.h", "move S D", false,
            "D/ D/a D/b/ S/ S/b/ S/b/.h");
        row("move: links give their content and go", "S/ S/l->../T S/f->../T/x T/ T/x", "move S D", true,
            "D/ D/f=x D/l/ D/l/x T/ T/x");
        row("move: a linked source goes as a link", "S->T T/ T/x", "move S D", true, "D/ D/x T/ T/x");
        row("move: no source, nothing touched", "D/ D/x", "move S D", false);
        row("move: a folder on the way that is not there is not made", "S/ S/a", "move S no/../D", true,
            "D/ D/a");
        row("copy: a folder on the way that is not there is not made", "S/ S/a", "copy S no/./../x/../D",
            true, "D/ D/a S/ S/a");
        row("move: onto itself", "S/ S/a", "move S S", false);
        row("move: onto itself by another path", "S/ S/a l->S", "move S l/../S/", false);
        row("move: into itself through a link", "S/ S/b/ l->S/b", "move S l/new", false);
        row("move: onto its parent", "P/ P/S/ P/S/a P/x", "move P/S P", false);
        row("move: an empty destination path", "S/ S/a", "move S ", false);
        row("move: an empty source path", "S/ S/a", "move  S", false);
        row("move: a cycle fails before anything goes", "S/ S/a S/l->.", "move S D", false,
            "D/ D/l/ S/ S/a S/l->.");
        row("move: a linked destination is left alone", "S/ S/a D->T T/ T/x", "move S D", false);

        row("copy: a tree", "S/ S/a S/b/ S/b/c S/.h", "copy S D", true,
            "D/ D/a D/b/ D/b/c S/ S/.h S/a S/b/ S/b/c");
        row("copy: a missing source makes the destination", "x", "copy S D", true, "D/ x");
        row("copy: a taken name stops it", "S/ S/a S/b=1 S/c D/ D/b=2", "copy S D", false,
            "D/ D/a D/b=2 S/ S/a S/b=1 S/c");
        row("copy: a taken folder stops it", "S/ S/a/ D/ D/a/", "copy S D", false);
        row("copy: a link to a FIFO cannot be copied", "S/ S/l->../p p|", "copy S D", false,
            "D/ S/ S/l->../p p|");
        row("copy: not into itself", "S/ S/a", "copy S S/b/c", false);
        row("copy: the destination is not entered by a link", "P/ P/S/ P/S/up->.. P/D/", "copy P/S P/D",
            false, "P/ P/D/ P/D/up/ P/D/up/D/ P/S/ P/S/up->..");

        row("copyfiles: nothing is overwritten", "S/ S/a=1 S/b D/ D/a=2", "copyfiles S D", true,
            "D/ D/a=2 D/b S/ S/a=1 S/b");
        row("copyfiles: the first folder makes the destination", "S/ S/a S/b/ S/b/x S/c", "copyfiles S D",
            true, "D/ D/b/ D/b/x D/c S/ S/a S/b/ S/b/x S/c");
        row("copyfiles: folders merge", "S/ S/b/ S/b/x D/ D/b/ D/b/y", "copyfiles S D", true,
            "D/ D/b/ D/b/x D/b/y S/ S/b/ S/b/x");
        row("copyfiles: goes on after a cycle", "S/ S/l->. S/z D/", "copyfiles S D", true,
            "D/ D/l/ D/z S/ S/l->. S/z");
        row("copyfiles: a link back ends it", "S/ S/a/ S/a/b/ S/a/b/x D/ D/a->../S/a/b", "copyfiles S D",
            true, "D/ D/a->../S/a/b S/ S/a/ S/a/b/ S/a/b/b/ S/a/b/x");
        row("copyfiles: through a link in a circle", "S/ S/b/ S/b/f D/ D/b->.", "copyfiles S D", true,
            "D/ D/b->. D/f S/ S/b/ S/b/f");
        row("copyfiles: not into itself", "S/ S/a/", "copyfiles S S/a", true);

        row("delete: a tree", "S/ S/a S/b/ S/b/c x", "delete S", true, "x");
        row("delete: nothing", "x", "delete S", true);
        row("delete: an empty path", "x", "delete ", true);
        row("delete: a file is kept", "S", "delete S", false);
        row("delete: hidden entries stay", "S/ S/a S/b/ S/b/.h S/c", "delete S", false, "S/ S/b/ S/b/.h S/c");
        row("delete: a linked folder goes as a link", "S->T T/ T/x", "delete S/", true, "T/ T/x");
        row("delete: links inside go as links", "S/ S/l->../T S/f->../T/x T/ T/x", "delete S", true,
            "T/ T/x");
        row("delete: a dangling link stays", "S/ S/l->gone", "delete S", false);
        row("delete: a FIFO stays", "S/ S/p|", "delete S", false);
        row("empty: the folder stays", "S/ S/a S/b/ S/b/c", "empty S", true, "S/");
        row("empty: a missing folder", "x", "empty S", true);
        row("empty: an empty path is refused", "x", "empty ", false);
        row("empty: what is behind a link stays", "S->T T/ T/x", "empty S", false);
    }

    void operations()
    {
        QFETCH(QString, before);
        QFETCH(QString, command);
        QFETCH(bool, result);
        const Tree tree(before);
        QCOMPARE(run(command), result);
        QTEST(Tree::describe(), "after");
    }

    void aNameMayReplaceAnotherOfOneFile()
    {
        const Tree tree(QStringLiteral("a l->a c"));
        QVERIFY(::link("a", "b") == 0);
        QVERIFY(::link("c", "d") == 0);
        QVERIFY(run(QStringLiteral("rename! c d")));
        QVERIFY(!QFileInfo::exists(QStringLiteral("c")));
        QVERIFY(!run(QStringLiteral("mv! l a")));
        QVERIFY(run(QStringLiteral("rename! l b")));
        QCOMPARE(Tree::describe(), QStringLiteral("a b->a d=c"));
    }

    void mountsAreSeenThrough_data()
    {
        QTest::addColumn<QString>("command");
        for (const char *command : {"move S m", "move m S", "move S m/new", "copy S m/new", "quick S m/new",
                                    "move S T/x", "move T/x S"})
            QTest::newRow(command) << QString::fromLatin1(command);
    }

    void mountsAreSeenThrough()
    {
        // S/sub is mounted on m, and T on S/t.
        const Tree tree(QStringLiteral("S/ S/q S/sub/ S/sub/p S/t/ T/ T/x/ T/x/y m/"));
        if (::mount("S/sub", "m", nullptr, MS_BIND, nullptr) != 0)
            QSKIP("only root may mount");
        const bool areMounted = ::mount("T", "S/t", nullptr, MS_BIND, nullptr) == 0;
        const QString before = Tree::describe();
        QFETCH(QString, command);
        const bool result = run(command);
        const QString after = Tree::describe();
        QVERIFY(::umount("m") == 0);
        QVERIFY(::umount("S/t") == 0);
        QVERIFY(areMounted);
        QVERIFY(!result);
        QCOMPARE(after, before);
    }

    void copiesComeInTheOrderOfTheirFolder()
    {
        const Tree tree(QStringLiteral("S/ S/a S/b S/c D/ D/b=2"));
        const QDir source(QStringLiteral("S"), QString(), QDir::Name | QDir::Reversed);
        QVERIFY(!CopyDirectory(source, QDir(QStringLiteral("D"))));
        QCOMPARE(Tree::describe("D"), QStringLiteral("b=2 c"));
    }

    void listsAsQtDoes()
    {
        QRandomGenerator random(1);
        const char *const forms[] = {"%1",        "%1/",      ".%1",        "%1|",
                                     "%1->.",     "%1->gone", "%1->a",      "A%1->%1/",
                                     "%1->../%1", "%1->/etc", "\xc3\x84%1", "%1->/dev/null"};
        for (int round = 0; round < 40; ++round) {
            QStringList words{QStringLiteral("a/")};
            for (int i = 0; i < 30; ++i) {
                // The same beginning, and either case, so that all of a name decides; in some rounds only
                // ASCII.
                const QString name = QStringLiteral("nAme-nAme-") + QString::number(random.generate(), 36);
                words.append(QString::fromUtf8(forms[random.bounded(round % 2 ? 12 : 11)])
                                 .arg((i % 2 ? name.toUpper() : name) + QString::number(i)));
            }
            const Tree tree(words.join(QLatin1Char(' ')));
            QStringList names, files;
            const auto plain = QDir::Dirs | QDir::Files | QDir::NoDotAndDotDot;
            const QDir here;
            const QFileInfoList listed = here.entryInfoList(plain);
            for (const QFileInfo &info : listed)
                names.append(info.fileName());
            const QFileInfoList all = here.entryInfoList();
            for (const QFileInfo &info : all) {
                if (info.isFile())
                    files.append(info.absoluteFilePath());
            }
            QStringList found = RecursiveGetFiles(tree.path());
            for (auto file = found.begin(); file != found.end();)
                file = QFileInfo(*file).path() == QDir::currentPath() ? file + 1 : found.erase(file);
            QCOMPARE(found, files);
            QVERIFY(getFileAndDirCount(tree.path()) == names.size());
        }
    }

    void filesAreListedDepthFirst()
    {
        const Tree tree(QStringLiteral("b c A/ A/x A/.h l->A m->. .h n->gone"));
        const QString root = QDir::currentPath() + QLatin1Char('/');
        QStringList expected;
        for (const char *name : {"A/x", "b", "c", "l/x"})
            expected.append(root + QLatin1String(name));
        QCOMPARE(RecursiveGetFiles(QString()), expected);
        QCOMPARE(RecursiveGetFiles(tree.path() + QStringLiteral("/A/../")), expected);
        QCOMPARE(getFileAndDirCount(tree.path()), 6);
        QCOMPARE(fileNames(QDir().entryInfoList(QDir::Files)),
                 QStringList({QStringLiteral("b"), QStringLiteral("c")}));
    }

    void walksEndInAMazeOfLinks()
    {
        QStringList words;
        for (int i = 0; i < 12; ++i) {
            words.append(QStringLiteral("d%1/").arg(i));
            for (int j = 0; j < 12; ++j)
                words.append(QStringLiteral("d%1/l%2->../d%2").arg(i).arg(j));
        }
        const Tree tree(words.join(QLatin1Char(' ')));
        QVERIFY(RecursiveGetFiles(tree.path()).isEmpty());
    }

    void theWayBackUpThroughManyLinks()
    {
        QStringList words{QStringLiteral("d20/ d20/a")};
        for (int i = 0; i < 20; ++i)
            words.append(QStringLiteral("d%1/ d%1/l->../d%2 d%1/m").arg(i).arg(i + 1));
        const Tree tree(words.join(QLatin1Char(' ')));
        QCOMPARE(RecursiveGetFiles(QStringLiteral("d0")).size(), 21);
    }

    void anyDepthAndAnyNameWithFewDescriptors()
    {
        const int depth = 20'000;
        const Tree tree(QString(), QStringLiteral("/dev/shm")); // a disk takes its time for so many folders
        rlimit limit, few;
        QCOMPARE(::getrlimit(RLIMIT_NOFILE, &limit), 0);
        few = limit;
        few.rlim_cur = 64;
        QCOMPARE(::setrlimit(RLIMIT_NOFILE, &few), 0);
        makeDeepFolder("S", depth);
        QCOMPARE(::mkdir("S/\xff\xfe", 0700), 0);
        ::close(::open("S/\xff\xfe/\xfd", O_CREAT | O_WRONLY, 0600));

        QCOMPARE(getFileAndDirCount(QStringLiteral("S")), depth + 3);
        QVERIFY(MoveDirectory(QStringLiteral("S"), QStringLiteral("D")));
        QCOMPARE(::access("D/\xff\xfe/\xfd", F_OK), 0);
        QCOMPARE(getFileAndDirCount(QStringLiteral("D")), depth + 3);
        CopyFiles(QStringLiteral("D"), QStringLiteral("E"));
        QCOMPARE(getFileAndDirCount(QStringLiteral("E")), depth + 3);
        QVERIFY(DeleteFolderAndFiles(QStringLiteral("E")));

        // The path of the file at the end is longer than the kernel accepts, and names it all the same.
        const QStringList files = RecursiveGetFiles(QStringLiteral("D"));
        QVERIFY(files.size() == 2);
        QVERIFY(files.first().size() > 2 * depth);
        QVERIFY(IsReadable(files.first()));
        QVERIFY(!ReadBinaryFile(files.first()).isNull());
        QVERIFY(GetUniqueFileName(files.first()) != files.first());
        QVERIFY(DeleteFile(files.first()));
        QCOMPARE(getFileAndDirCount(QStringLiteral("D")), depth + 2);
        QVERIFY(DeleteFolderAndFiles(QStringLiteral("D")));

        // Many entries, each with the longest name there is; with one byte more it is no name.
        QCOMPARE(::mkdir("S", 0700), 0);
        const std::string prefix = "S/" + std::string(250, 'n');
        for (int i = 10'000; i < 60'000; ++i)
            ::close(::open((prefix + std::to_string(i)).c_str(), O_CREAT | O_WRONLY, 0600));
        for (const char *command :
             {"list S 50000", "move S D", "mv D/%1 a", "mv a D/%1", "!mv D/%1 n%1", "!rename D/%1 n%1",
              "!move D n%1", "!writable n%1", "unlink n%1", "quick D E", "count D 0", "count E 50000",
              "empty E", "delete D", "delete E"}) {
            QString words = QString::fromLatin1(command);
            words.replace(QStringLiteral("%1"), QString(250, QLatin1Char('n')) + QStringLiteral("10000"));
            const bool isRefused = words.startsWith(QLatin1Char('!'));
            QVERIFY2(run(words.mid(isRefused)) != isRefused, command);
        }
        QCOMPARE(Tree::describe(), QString());
        QCOMPARE(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    }

    void acrossDevices()
    {
        const Tree tree(QStringLiteral("a b S/ S/x S/f/ S/f/y d/"));
        const QString other = folderOnAnotherDevice();
        if (other.isEmpty())
            QSKIP("everything is on one device here");
        const QTemporaryDir there(other + QStringLiteral("/tescore-XXXXXX"));
        syncs = 0;
        QVERIFY(::chmod("a", 0751) == 0);
        QVERIFY(RenameFile(QStringLiteral("a"), there.filePath(QStringLiteral("a")), false));
        struct stat info;
        QVERIFY(::stat(there.filePath(QStringLiteral("a")).toLocal8Bit().constData(), &info) == 0);
        QCOMPARE(info.st_mode & 07777, 0751U);
        QCOMPARE(syncs, 1);
        QVERIFY(!RenameFile(QStringLiteral("b"), there.filePath(QStringLiteral("a")), false));
        QVERIFY(RenameFile(QStringLiteral("b"), there.filePath(QStringLiteral("a")), true));
        QVERIFY(!RenameFile(QStringLiteral("d"), there.filePath(QStringLiteral("d")), false));
        QVERIFY(!RenameFile(QStringLiteral("d"), there.filePath(QStringLiteral("a")), true));
        QVERIFY(MoveDirectoryQuick(QStringLiteral("S"), there.filePath(QStringLiteral("S"))));
        QCOMPARE(Tree::describe(), QStringLiteral("S/ S/f/ d/"));
        QCOMPARE(Tree::describe(there.path().toStdString()), QStringLiteral("S/ S/f/ S/f/y S/x a=b"));
    }

    void copiesKeepPermissionsAndHoles()
    {
        const Tree tree(QStringLiteral("S/ S/a S/b"));
        const timespec afterTheYear2038[]{{qint64(1) << 32, 0}, {qint64(1) << 32, 0}};
        QVERIFY(::utimensat(AT_FDCWD, "S/a", afterTheYear2038, 0) == 0);
        std::ofstream("S/b", std::ios::in).seekp(std::streamoff(3) << 30) << "end";
        QVERIFY(::chmod("S/a", 04751) == 0);
        QVERIFY(::umask(077) != 077);
        QVERIFY(run(QStringLiteral("copy S D")));
        ::umask(022);
        struct stat a, b;
        QVERIFY(::stat("D/a", &a) == 0);
        QVERIFY(::stat("D/b", &b) == 0);
        QCOMPARE(a.st_mode & 07777, 0751U);
        QCOMPARE(qint64(b.st_size), (qint64(3) << 30) + 3);
        QVERIFY(b.st_blocks < 2048);
    }

    void refusedPermissionsAreTold()
    {
        const AsOrdinaryUser user;
        const Tree tree(
            QStringLiteral("locked/ locked/a unreadable/ unreadable/a S/ S/n/ S/n/a file none/ W/ W/b"));
        QVERIFY(::chmod("locked", 0500) == 0);
        QVERIFY(::chmod("unreadable", 0300) == 0);
        QVERIFY(::chmod("S/n", 0300) == 0);
        QVERIFY(::chmod("file", 0) == 0);
        QVERIFY(::chmod("none", 0) == 0);
        const QString before = QStringLiteral("before");
        QString error = before;
        const auto path = [](const char *name) { return QString::fromLatin1(name); };
        QFile file(path("file"));
        QVERIFY(!file.open(QIODevice::ReadOnly));

        QVERIFY(!IsReadable(path("file"), &error));
        QCOMPARE(error, file.errorString());
        error = before;
        QVERIFY(!IsWritable(path("file"), nullptr));
        QVERIFY(!IsWritable(path("locked/new"), nullptr));
        QVERIFY(!IsWritable(path("locked"), &error));
        QVERIFY(!IsReadable(path("unreadable"), &error));
        QCOMPARE(error, before);
        QVERIFY(!DeleteFile(path("locked/a"), &error));
        QCOMPARE(error, file.errorString());

        for (const char *command : {"copy unreadable D", "empty unreadable", "delete locked", "move S D",
                                    "copy S E", "empty locked", "rename locked/a b", "rename W/b locked/b",
                                    "rename! W/b locked/a", "mv W/b locked/b", "mv! W/b locked/a",
                                    "quick locked Q", "quick W locked", "copy W locked", "move W locked/D"})
            QVERIFY2(!run(path(command)), command);
        QVERIFY(run(path("copyfiles W locked")));
        QVERIFY(run(path("mv locked/a b"))); // though the source could not be removed
        QVERIFY(run(path("delete none")));
        QVERIFY(::chmod("unreadable", 0700) == 0);
        QVERIFY(::chmod("S/n", 0700) == 0);
        QVERIFY(::chmod("locked", 0700) == 0);
        QCOMPARE(Tree::describe("S") + Tree::describe("W"), QStringLiteral("n/ n/ab"));
        QCOMPARE(Tree::describe("unreadable") + Tree::describe("locked"), QStringLiteral("aa"));
    }

    void accessIsToldWithoutATrace_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("readable");
        QTest::addColumn<bool>("writable");
        QTest::newRow("a file") << QStringLiteral("a") << true << true;
        QTest::newRow("a folder") << QStringLiteral("d") << true << true;
        QTest::newRow("a FIFO does not block") << QStringLiteral("p") << true << true;
        QTest::newRow("a missing file") << QStringLiteral("d/new") << false << true;
        QTest::newRow("a missing folder") << QStringLiteral("gone/new") << false << false;
        QTest::newRow("a link whose target could be made") << QStringLiteral("l") << false << true;
        QTest::newRow("a link into nowhere") << QStringLiteral("m") << false << false;
        QTest::newRow("a link to itself") << QStringLiteral("o") << false << false;
        QTest::newRow("an empty path") << QString() << false << false;
        QTest::newRow("a path with a NUL") << QStringLiteral("a\0b") << false << false;
    }

    void accessIsToldWithoutATrace()
    {
        const QString before = QStringLiteral("a d/ l->d/gone m->gone/new o->o p|");
        const Tree tree(before);
        QFETCH(QString, path);
        QString readError, writeError;
        QTEST(IsReadable(path, &readError), "readable");
        QTEST(IsWritable(path, &writeError), "writable");
        QTEST(readError.isEmpty(), "readable");
        QTEST(writeError.isEmpty(), "writable");
        QFile file(path);
        if (path.isEmpty() || path.contains(QChar::Null)) // of which Qt warns
            return;
        if (!readError.isEmpty() && !file.open(QIODevice::ReadOnly))
            QCOMPARE(readError, file.errorString());
        if (!writeError.isEmpty() && !file.open(QIODevice::WriteOnly))
            QCOMPARE(writeError, file.errorString());
        QCOMPARE(Tree::describe(), before);
    }

    void aMoveDeletesOnlyWhatIsSafe_data()
    {
        QTest::addColumn<QString>("meanwhile");
        QTest::addColumn<int>("syncResult");
        QTest::addColumn<bool>("isFar"); // to another file system, where files are copied
        QTest::addColumn<QString>("left");
        QTest::addColumn<QString>("arrived");
        const auto row = [](const char *name, const char *meanwhile, int syncResult, const char *leftNear,
                            const char *arrivedNear, const char *leftFar, const char *arrivedFar) {
            const QString command = QString::fromLatin1(meanwhile);
            QTest::newRow(name) << command << syncResult << false << QString::fromLatin1(leftNear)
                                << QString::fromLatin1(arrivedNear);
            QTest::addRow("%s (far)", name) << command << syncResult << true << QString::fromLatin1(leftFar)
                                            << QString::fromLatin1(arrivedFar);
        };
        const char *all = "a n/ n/x";
        row("what appeared stays", "touch S/n/new", 0, "n/ n/new=", all, "n/ n/new=", all);
        row("what changed is not lost", "echo >> S/a", 0, nullptr, "a=a\n n/ n/x", "a=a\n n/ n/x", all);
        row("what changed in its size and time stays", "cp -p S/a r; printf b >S/a; touch -r r S/a", 0,
            nullptr, "a=b n/ n/x", "a=b n/ n/x", all);
        row("what was replaced stays", "mv S/n/x S/a", 0, "a=x n/", all, "a=x n/", all);
        row("what became a link stays, and all behind it", "mv S/n m; ln -s ../m S/n", 0, "n->../m", all,
            "n->../m", all);
        row("a folder that came instead stays", "mv S/n m; mkdir S/n", 0, "n/", all, "n/", all);
        row("what somebody else has removed is no failure", "rm S/a", 0, nullptr, all, nullptr, all);
        row("without a sync all stays", "true", -1, all, "n/", all, all);
    }

    void aMoveDeletesOnlyWhatIsSafe()
    {
        QFETCH(QString, meanwhile);
        QFETCH(int, syncResult);
        QFETCH(bool, isFar);
        QFETCH(QString, left);
        const QString other = folderOnAnotherDevice();
        if (isFar && other.isEmpty())
            QSKIP("everything is on one device here");
        const QTemporaryDir there((isFar ? other : QDir::tempPath()) + QStringLiteral("/tescore-XXXXXX"));
        const Tree tree(QStringLiteral("S/ S/a S/n/ S/n/x"));
        atSync = [&] {
            const int done = std::system(meanwhile.toLocal8Bit().constData());
            errno = EIO;
            return done == 0 ? syncResult : -1;
        };
        const bool result = run(QStringLiteral("move S ") + there.filePath(QStringLiteral("D")));
        atSync = nullptr;
        QCOMPARE(result, left.isEmpty());
        QCOMPARE(QFileInfo::exists(QStringLiteral("S")), !left.isEmpty());
        QCOMPARE(left.isEmpty() ? QString() : Tree::describe("S"), left);
        const std::string arrived = there.filePath(QStringLiteral("D")).toStdString();
        QTEST(Tree::describe(arrived), "arrived");
        QVERIFY(!QFileInfo::exists(QStringLiteral("m")) || QFileInfo::exists(QStringLiteral("m/x")));
        // No change of a file in one place may change it in the other.
        for (const auto &entry : std::filesystem::recursive_directory_iterator(arrived))
            QVERIFY(entry.is_directory() || entry.hard_link_count() == 1);
    }

    void aFileMovesOnlyWhenItIsSafe_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<bool>("isFar");
        QTest::addColumn<QString>("meanwhile"); // at the sync of this number
        QTest::addColumn<int>("at");
        QTest::addColumn<bool>("result");
        QTest::addColumn<QString>("left");
        QTest::addColumn<QString>("there");
        const auto row = [](const char *name, const char *command, bool isFar, const char *meanwhile, int at,
                            bool result, const char *left, const char *there) {
            QTest::newRow(name) << QString::fromLatin1(command) << isFar << QString::fromLatin1(meanwhile)
                                << at << result << QString::fromLatin1(left) << QString::fromLatin1(there);
        };
        const char *both = "a", *old = "b=old";
        for (const char *command : {"rename! a", "mv! a"}) {
            for (const bool isFar : {false, true}) {
                const std::string name = std::string(command) + (isFar ? ", far" : "");
                row((name + ": the first sync fails").c_str(), command, isFar, "false", 1, false, both, old);
                row((name + ": the second sync fails").c_str(), command, isFar, "false", 2, false, both, old);
            }
        }
        row("mv, far: the sync fails", "mv a", true, "false", 1, false, both, "");
        row("rename, far: the sync fails", "rename a", true, "false", 1, false, both, "");
        row("rename!, far: what changed stays", "rename! a", true, "echo >> a", 2, false, "a=a\n", old);
        row("rename, far: what changed stays", "rename a", true, "echo >> a", 1, false, "a=a\n", "");
        row("mv!, far: what changed stays", "mv! a", true, "echo >> a", 2, true, "a=a\n", "b=a");
        row("mv: what was put in its place stays", "mv a", false, "echo new > n; mv n a", 1, true, "a=new\n",
            "b=a");
        row("mv!: what was put in its place stays", "mv! a", false, "echo new > n; mv n a", 2, true,
            "a=new\n", "b=a");
    }

    void aFileMovesOnlyWhenItIsSafe()
    {
        QFETCH(QString, command);
        QFETCH(bool, isFar);
        QFETCH(QString, meanwhile);
        QFETCH(int, at);
        const QString other = folderOnAnotherDevice();
        if (isFar && other.isEmpty())
            QSKIP("everything is on one device here");
        const QTemporaryDir there((isFar ? other : QDir::tempPath()) + QStringLiteral("/tescore-XXXXXX"));
        const Tree tree(QStringLiteral("a"));
        const QString target = there.filePath(QStringLiteral("b"));
        if (command.contains(QLatin1Char('!')))
            std::ofstream(target.toStdString()) << "old";
        int seen = 0;
        atSync = [&] {
            const bool isFailing = ++seen == at && std::system(meanwhile.toLocal8Bit().constData()) != 0;
            errno = EIO;
            return isFailing ? -1 : 0;
        };
        const bool result = run(command + QLatin1Char(' ') + target);
        atSync = nullptr;
        QTEST(result, "result");
        QVERIFY(seen >= at);
        QTEST(Tree::describe(), "left");
        QTEST(Tree::describe(there.path().toStdString()), "there");
    }

    void temporaryPaths()
    {
        const Tree tree(QStringLiteral("a.tar.gz b d/"));
        qputenv("TMPDIR", tree.path().toLocal8Bit());
        QCoreApplication::setApplicationName(QStringLiteral("Tessarine"));
        const QString root = tree.path() + QStringLiteral("/Tessarine");
        QCOMPARE(GetTessarineTempPath(), root);
        QVERIFY(!QFileInfo::exists(GetNewTempFolderPath(false)));
        QVERIFY(!QFileInfo::exists(root));

        const QString folder = GetNewTempFolderPath(true);
        QCOMPARE(folder.size(), root.size() + 37);
        for (const QString &path : {folder, root})
            QCOMPARE(QFileInfo(path).permissions() & 0x77, QFile::Permissions());
        QCOMPARE(GetNewTempFilePath(QStringLiteral("tar.gz")).mid(root.size() + 37),
                 QStringLiteral(".tar.gz"));
        QCOMPARE(GetNewTempFilePath(QStringLiteral(".txt")).mid(root.size() + 37), QStringLiteral(".txt"));
        QCOMPARE(GetNewTempFilePath().size(), root.size() + 37);
        QVERIFY(QFileInfo(QFileInfo(GetNewTempFilePath(QStringLiteral("a/b.txt"))).path()).isDir());

        QVERIFY(::chmod(root.toLocal8Bit().constData(), 0777) == 0);
        QVERIFY(!QFileInfo::exists(GetNewTempFolderPath(true)));
        QVERIFY(::chmod(root.toLocal8Bit().constData(), 01777) == 0);
        QVERIFY(QFileInfo::exists(GetNewTempFolderPath(true)));
        QVERIFY(::geteuid() != 0 || ::chown(root.toLocal8Bit().constData(), 1, -1) == 0);
        QCOMPARE(QFileInfo::exists(GetNewTempFolderPath(true)), ::geteuid() != 0);
        QCoreApplication::setApplicationName(QStringLiteral("Tessarine/below"));
        QCOMPARE(QFileInfo::exists(GetNewTempFolderPath(true)), ::geteuid() != 0);
        QCoreApplication::setApplicationName(QStringLiteral("Tessarine"));
        QVERIFY(::geteuid() != 0 || ::chown(root.toLocal8Bit().constData(), 0, -1) == 0);
        // Neither is a trusted link that leads to such a folder.
        QVERIFY(::rename("Tessarine", "real") == 0);
        QVERIFY(::chmod("real", 0777) == 0);
        QVERIFY(QFile::link(QStringLiteral("real"), QStringLiteral("Tessarine")));
        QVERIFY(!QFileInfo::exists(GetNewTempFolderPath(true)));
        QVERIFY(::unlink("Tessarine") == 0);
        QVERIFY(::chmod("real", 0700) == 0);
        QVERIFY(::rename("real", "Tessarine") == 0);

        const QString copy = CreateTemporaryCopy(QStringLiteral("a.tar.gz"));
        QCOMPARE(QFileInfo(copy).path(), tree.path());
        QVERIFY(copy.endsWith(QStringLiteral(".gz")));
        QVERIFY(QFileInfo(copy).size() == 8);
        QVERIFY(CreateTemporaryCopy(QStringLiteral("b")).endsWith(QLatin1Char('.')));
        QVERIFY(CreateTemporaryCopy(QStringLiteral("d")).isNull());
        QVERIFY(CreateTemporaryCopy(QString()).isNull());

        QString kept, deleted;
        {
            TESTempFolder first(true, false), second(true, false), never(false, true);
            kept = first.path();
            deleted = second.path();
            QVERIFY(kept != deleted);
            QVERIFY(QFileInfo::exists(deleted));
            QVERIFY(!QFileInfo::exists(never.path()));
            second.setAutoDelete(true);
            QVERIFY(second.isAutoDelete());
            QVERIFY(!first.isAutoDelete());
        }
        QThreadPool::globalInstance()->waitForDone();
        QVERIFY(QFileInfo::exists(kept));
        QVERIFY(!QFileInfo::exists(deleted));
        qunsetenv("TMPDIR");
    }
};

QTEST_GUILESS_MAIN(TestFiles)
#include "test_files.moc"
