#include <TesCore/TESTempFolder.h>

#include "support/operations.h"
#include "support/tree.h"

#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTest>
#include <QThreadPool>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>

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
        static const QRegularExpression form(text(R"(^(.+): \[(.*?)\] (.*) = (true|false)(?: \[(.*)\])?$)"));
        QFile table(text(":/operations.txt"));
        QVERIFY(table.open(QIODevice::ReadOnly));
        const QStringList lines = QString::fromUtf8(table.readAll()).split(QLatin1Char('\n'));
        for (const QString &line : lines) {
            if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
                continue;
            const auto row = form.match(line);
            QVERIFY2(row.hasMatch(), qPrintable(line));
            QStringList after = row.captured(row.lastCapturedIndex() == 5 ? 5 : 2).split(QLatin1Char(' '));
            after.sort();
            QTest::newRow(qPrintable(row.captured(1)))
                << row.captured(2) << row.captured(3) << (row.captured(4) == text("true"))
                << after.join(QLatin1Char(' '));
        }
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
        const Tree tree(text("a l->a c"));
        QVERIFY(::link("a", "b") == 0);
        QVERIFY(::link("c", "d") == 0);
        QVERIFY(run(text("rename! c d")));
        QVERIFY(!QFileInfo::exists(text("c")));
        QVERIFY(!run(text("mv! l a")));
        QVERIFY(run(text("rename! l b")));
        QCOMPARE(Tree::describe(), text("a b->a d=c"));
    }

    void mountsAreSeenThrough()
    {
        // S/sub is mounted on m, T on S/t, and a folder of F, which is another device, on S/far.
        const Tree tree(text("S/ S/q S/sub/ S/sub/p S/t/ S/far/ T/ T/x/ T/x/y m/ F/"));
        const auto bind = [](const char *from, const char *to) {
            return ::mount(from, to, nullptr, MS_BIND, nullptr) == 0;
        };
        if (!bind("S/sub", "m"))
            QSKIP("only root may mount");
        const bool areMounted = bind("T", "S/t") && ::mount("none", "F", "tmpfs", 0, nullptr) == 0 &&
                                ::mkdir("F/sub", 0700) == 0 && bind("F/sub", "S/far");
        const QString before = Tree::describe();
        QStringList wrong;
        for (const char *command :
             {"move S m", "move m S", "move S m/new", "copy S m/new", "quick S m/new", "move S T/x",
              "move T/x S", "quick S F/sub/D", "move S F/sub/D", "copy S F/sub/D", "copy S F/sub"})
            if (run(text(command)) || Tree::describe() != before)
                wrong.append(text(command));
        for (const char *place : {"S/far", "F", "S/t", "m"})
            ::umount(place);
        QVERIFY(areMounted);
        QCOMPARE(wrong, QStringList());
    }

    void copiesComeInTheOrderOfTheirFolder()
    {
        const Tree tree(text("S/ S/a S/b S/c D/ D/b=2"));
        const QDir source(text("S"), QString(), QDir::Name | QDir::Reversed);
        QVERIFY(!CopyDirectory(source, QDir(text("D"))));
        QCOMPARE(Tree::describe("D"), text("b=2 c"));
    }

    void listsAsQtDoes()
    {
        QRandomGenerator random(1);
        const char *const forms[] = {"%1",        "%1/",      ".%1",        "%1|",
                                     "%1->.",     "%1->gone", "%1->a",      "A%1->%1/",
                                     "%1->../%1", "%1->/etc", "\xc3\x84%1", "%1->/dev/null"};
        for (int round = 0; round < 40; ++round) {
            QStringList words{text("a/")};
            for (int i = 0; i < 30; ++i) {
                // The same beginning, and either case, so that all of a name decides; in some rounds ASCII.
                const QString name = text("nAme-nAme-") + QString::number(random.generate(), 36);
                words.append(QString::fromUtf8(forms[random.bounded(round % 2 ? 12 : 11)])
                                 .arg((i % 2 ? name.toUpper() : name) + QString::number(i)));
            }
            const Tree tree(words.join(QLatin1Char(' ')));
            QStringList files;
            const QFileInfoList all = QDir().entryInfoList();
            for (const QFileInfo &info : all)
                if (info.isFile())
                    files.append(info.absoluteFilePath());
            QStringList found = RecursiveGetFiles(tree.path());
            for (auto file = found.begin(); file != found.end();)
                file = QFileInfo(*file).path() == QDir::currentPath() ? file + 1 : found.erase(file);
            QCOMPARE(found, files);
            const auto entries = QDir().entryInfoList(QDir::Dirs | QDir::Files | QDir::NoDotAndDotDot);
            QCOMPARE(getFileAndDirCount(tree.path()), int(entries.size()));
        }
    }

    void filesAreListedDepthFirst()
    {
        const Tree tree(text("b c A/ A/x A/.h l->A m->. .h n->gone"));
        const QString root = QDir::currentPath() + QLatin1Char('/');
        QStringList expected;
        for (const char *name : {"A/x", "b", "c", "l/x"})
            expected.append(root + QLatin1String(name));
        QCOMPARE(RecursiveGetFiles(QString()), expected);
        QCOMPARE(RecursiveGetFiles(tree.path() + text("/A/../")), expected);
        QCOMPARE(getFileAndDirCount(tree.path()), 6);
        QCOMPARE(fileNames(QDir().entryInfoList(QDir::Files)), QStringList({text("b"), text("c")}));
    }

    void walksEndInAMazeOfLinks()
    {
        QStringList words;
        for (int i = 0; i < 12; ++i) {
            words.append(text("d%1/").arg(i));
            for (int j = 0; j < 12; ++j)
                words.append(text("d%1/l%2->../d%2").arg(i).arg(j));
        }
        const Tree tree(words.join(QLatin1Char(' ')));
        QVERIFY(RecursiveGetFiles(tree.path()).isEmpty());
    }

    void theWayBackUpThroughManyLinks()
    {
        QStringList words{text("d20/ d20/a")};
        for (int i = 0; i < 20; ++i)
            words.append(text("d%1/ d%1/l->../d%2 d%1/m").arg(i).arg(i + 1));
        const Tree tree(words.join(QLatin1Char(' ')));
        QCOMPARE(RecursiveGetFiles(text("d0")).size(), 21);
    }

    void anyDepthAndAnyNameWithFewDescriptors()
    {
        const int depth = 20'000;
        const Tree tree(QString(), text("/dev/shm")); // a disk takes its time for so many folders
        rlimit limit, few;
        QCOMPARE(::getrlimit(RLIMIT_NOFILE, &limit), 0);
        few = limit;
        few.rlim_cur = 64;
        QCOMPARE(::setrlimit(RLIMIT_NOFILE, &few), 0);
        makeDeepFolder("S", depth);
        QCOMPARE(::mkdir("S/\xff\xfe", 0700), 0);
        ::close(::open("S/\xff\xfe/\xfd", O_CREAT | O_WRONLY, 0600));

        QCOMPARE(getFileAndDirCount(text("S")), depth + 3);
        QVERIFY(MoveDirectory(text("S"), text("D")));
        QCOMPARE(::access("D/\xff\xfe/\xfd", F_OK), 0);
        QCOMPARE(getFileAndDirCount(text("D")), depth + 3);
        CopyFiles(text("D"), text("E"));
        QCOMPARE(getFileAndDirCount(text("E")), depth + 3);
        QVERIFY(DeleteFolderAndFiles(text("E")));

        // The path of the file at the end is longer than the kernel accepts, and names it all the same.
        const QStringList files = RecursiveGetFiles(text("D"));
        QVERIFY(files.size() == 2);
        QVERIFY(files.first().size() > 2 * depth);
        QVERIFY(IsReadable(files.first()));
        QVERIFY(!ReadBinaryFile(files.first()).isNull());
        QVERIFY(GetUniqueFileName(files.first()) != files.first());
        QVERIFY(DeleteFile(files.first()));
        QCOMPARE(getFileAndDirCount(text("D")), depth + 2);
        QVERIFY(DeleteFolderAndFiles(text("D")));

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
            words.replace(text("%1"), QString(250, QLatin1Char('n')) + text("10000"));
            const bool isRefused = words.startsWith(QLatin1Char('!'));
            QVERIFY2(run(words.mid(isRefused)) != isRefused, command);
        }
        QCOMPARE(Tree::describe(), QString());
        QCOMPARE(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    }

    void acrossDevices()
    {
        const Tree tree(text("a b S/ S/x S/f/ S/f/y d/"));
        if (otherFileSystem().isEmpty())
            QSKIP("everything is on one device here");
        const QTemporaryDir there(otherFileSystem() + text("/tescore-XXXXXX"));
        syncs = 0;
        for (const char *command : {"rename a %1/a", "!rename b %1/a", "rename! b %1/a", "!rename d %1/d",
                                    "!rename! d %1/a", "quick S %1/S"}) {
            const bool isRefused = *command == '!';
            QVERIFY2(run(text(command + isRefused).arg(there.path())) != isRefused, command);
            QVERIFY(syncs > 0);
        }
        QCOMPARE(Tree::describe(), text("S/ S/f/ d/"));
        QCOMPARE(Tree::describe(there.path().toStdString()), text("S/ S/f/ S/f/y S/x a=b"));
    }

    void copiesKeepPermissionsAndHoles()
    {
        const Tree tree(text("S/ S/a S/b"));
        const timespec afterTheYear2038[]{{qint64(1) << 32, 0}, {qint64(1) << 32, 0}};
        QVERIFY(::utimensat(AT_FDCWD, "S/a", afterTheYear2038, 0) == 0);
        std::ofstream("S/b", std::ios::in).seekp(std::streamoff(3) << 30) << "end";
        QVERIFY(::chmod("S/a", 04751) == 0);
        QVERIFY(::umask(077) != 077);
        QVERIFY(run(text("copy S D")));
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
            text("locked/ locked/a unreadable/ unreadable/a S/ S/n/ S/n/a file none/ W/ W/b drop/"));
        QVERIFY(::chmod("locked", 0500) == 0);
        QVERIFY(::chmod("unreadable", 0300) == 0);
        QVERIFY(::chmod("S/n", 0300) == 0);
        QVERIFY(::chmod("drop", 0300) == 0);
        QVERIFY(::chmod("file", 0) == 0);
        QVERIFY(::chmod("none", 0) == 0);
        const QString before = text("before");
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
        QVERIFY(run(path("mv b drop/b")));   // which need not be read
        QVERIFY(run(path("delete none")));
        QVERIFY(::chmod("unreadable", 0700) == 0);
        QVERIFY(::chmod("S/n", 0700) == 0);
        QVERIFY(::chmod("locked", 0700) == 0);
        QVERIFY(::chmod("drop", 0700) == 0);
        QCOMPARE(Tree::describe("S") + Tree::describe("W"), text("n/ n/ab"));
        QCOMPARE(Tree::describe("unreadable") + Tree::describe("locked"), text("aa"));
    }

    void accessIsToldWithoutATrace()
    {
        const QString before = text("a d/ l->d/gone m->gone/new o->o p|");
        const Tree tree(before);
        const struct
        {
            const char *path;
            bool isReadable, isWritable;
        } rows[] = {{"a", true, true},      {"d", true, true},  {"p", true, true},
                    {"d/new", false, true}, {"l", false, true}, {"gone/new", false, false},
                    {"m", false, false},    {"o", false, false}};
        for (const auto &[name, isReadable, isWritable] : rows) {
            const QString path = text(name);
            QString readError, writeError;
            QVERIFY2(IsReadable(path, &readError) == isReadable, name);
            QVERIFY2(IsWritable(path, &writeError) == isWritable, name);
            QVERIFY2(readError.isEmpty() == isReadable && writeError.isEmpty() == isWritable, name);
            QFile file(path);
            if (!isReadable && !file.open(QIODevice::ReadOnly))
                QCOMPARE(readError, file.errorString());
            if (!isWritable && !file.open(QIODevice::WriteOnly))
                QCOMPARE(writeError, file.errorString());
        }
        for (const QString &path : {QString(), QStringLiteral("a\0b")})
            QVERIFY(!IsReadable(path) && !IsWritable(path));
        QCOMPARE(Tree::describe(), before);
    }

    void aMoveDeletesOnlyWhatIsSafe_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<int>("at"); // the sync of this number
        QTest::addColumn<QString>("meanwhile");
        QTest::addColumn<bool>("isFar");
        QTest::addColumn<QString>("outcome"); // "the result, what is left | what is there"
        const auto row = [](const char *command, int at, const char *meanwhile, const char *near,
                            const char *far) {
            for (const bool isFar : {false, true})
                if (const char *outcome = isFar ? far : near)
                    QTest::addRow("%s, %d: %s%s", command, at, meanwhile, isFar ? ", far" : "")
                        << text(command) << at << text(meanwhile) << isFar
                        << text(outcome).replace(text("ALL"), text("D/ D/a D/n/ D/n/x"));
        };
        const char *none = nullptr, *both = "false, a | D=old", *fresh = "false, a | ";
        const char *added = "false, S/ S/n/ S/n/new= | ALL", *linked = "false, S/ S/n->../m m/ m/x | ALL";
        const char *swapped = "false, S/ S/n/ m/ m/x | ALL", *other = "false, S/ S/a=x S/n/ | ALL";
        const char *gone = "true,  | ALL", *newer = "true, a=new\n | D=a";
        row("move S", 1, "touch S/n/new", added, added);
        row("move S", 1, "echo >> S/a", "true,  | D/ D/a=a\n D/n/ D/n/x",
            "false, S/ S/a=a\n S/n/ S/n/x | ALL");
        // Its size and its time are as before.
        row("move S", 1, "cp -p S/a r; printf b >S/a; touch -r r S/a", "true, r=a | D/ D/a=b D/n/ D/n/x",
            "false, S/ S/a=b S/n/ S/n/x r=a | ALL");
        row("move S", 1, "mv S/n/x S/a", other, other);
        row("move S", 1, "mv S/n m; ln -s ../m S/n", linked, linked);
        row("move S", 1, "mv S/n m; mkdir S/n", swapped, swapped);
        row("move S", 1, "rm S/a", gone, gone);
        row("move S", 1, "false", "false, S/ S/a S/n/ S/n/x | D/ D/n/", "false, S/ S/a S/n/ S/n/x | ALL");
        for (const int at : {1, 2})
            for (const char *command : {"rename! a", "mv! a"})
                row(command, at, "false", both, both);
        row("mv a", 1, "false", fresh, fresh);
        row("rename a", 1, "false", none, fresh);
        row("rename! a", 2, "echo >> a", none, "false, a=a\n | D=old");
        row("rename a", 1, "echo >> a", none, "false, a=a\n | ");
        row("mv! a", 2, "echo >> a", none, "true, a=a\n | D=a");
        row("mv a", 1, "echo new > n; mv n a", newer, newer);
        row("mv! a", 2, "echo new > n; mv n a", newer, newer);
    }

    void aMoveDeletesOnlyWhatIsSafe()
    {
        QFETCH(QString, command);
        QFETCH(int, at);
        QFETCH(QString, meanwhile);
        QFETCH(bool, isFar);
        if (isFar && otherFileSystem().isEmpty())
            QSKIP("everything is on one device here");
        const QTemporaryDir there((isFar ? otherFileSystem() : QDir::tempPath()) + text("/tescore-XXXXXX"));
        const Tree tree(text(command.endsWith(QLatin1Char('S')) ? "S/ S/a S/n/ S/n/x" : "a"));
        if (command.contains(QLatin1Char('!')))
            std::ofstream(there.filePath(text("D")).toStdString()) << "old";
        int seen = 0;
        atSync = [&] {
            const bool isFailing = ++seen == at && std::system(qPrintable(meanwhile)) != 0;
            errno = EIO;
            return isFailing ? -1 : 0;
        };
        const bool result = run(command + QLatin1Char(' ') + there.filePath(text("D")));
        atSync = nullptr;
        const std::string arrived = there.path().toStdString();
        QTEST(text("%1, %2 | %3")
                  .arg(text(result ? "true" : "false"), Tree::describe(), Tree::describe(arrived)),
              "outcome");
        QVERIFY(seen >= at);
        // No change of a file in one place may change it in the other.
        for (const auto &entry : std::filesystem::recursive_directory_iterator(arrived))
            QVERIFY(entry.is_directory() || entry.hard_link_count() == 1);
    }

    void temporaryPaths()
    {
        const Tree tree(text("a.tar.gz b d/"));
        const TemporaryFolder temporary(tree.path());
        QCoreApplication::setApplicationName(text("Tessarine"));
        const QString root = tree.path() + text("/Tessarine");
        QCOMPARE(GetTessarineTempPath(), root);
        QVERIFY(!QFileInfo::exists(GetNewTempFolderPath(false)));
        QVERIFY(!QFileInfo::exists(root));

        const QString folder = GetNewTempFolderPath(true);
        QCOMPARE(folder.size(), root.size() + 37);
        for (const QString &path : {folder, root})
            QCOMPARE(QFileInfo(path).permissions() & 0x77, QFile::Permissions());
        QCOMPARE(GetNewTempFilePath(text("tar.gz")).mid(root.size() + 37), text(".tar.gz"));
        QCOMPARE(GetNewTempFilePath(text(".txt")).mid(root.size() + 37), text(".txt"));
        QCOMPARE(GetNewTempFilePath().size(), root.size() + 37);
        QVERIFY(QFileInfo(QFileInfo(GetNewTempFilePath(text("a/b.txt"))).path()).isDir());

        // A folder of somebody else's is not trusted, nor is one below it.
        for (const char *name : {"Tessarine", "Tessarine/below"}) {
            QCoreApplication::setApplicationName(text(name));
            QVERIFY(::geteuid() != 0 || ::chown("Tessarine", 1, -1) == 0);
            QCOMPARE(QFileInfo::exists(GetNewTempFolderPath(true)), ::geteuid() != 0);
        }
        QCoreApplication::setApplicationName(text("Tessarine"));
        QVERIFY(::geteuid() != 0 || ::chown("Tessarine", 0, -1) == 0);
        // Neither is a trusted link that leads to such a folder.
        QVERIFY(::rename("Tessarine", "real") == 0);
        QVERIFY(::chmod("real", 0777) == 0);
        QVERIFY(QFile::link(text("real"), text("Tessarine")));
        QVERIFY(!QFileInfo::exists(GetNewTempFolderPath(true)));
        QVERIFY(::unlink("Tessarine") == 0);
        QVERIFY(::chmod("real", 0700) == 0);
        QVERIFY(::rename("real", "Tessarine") == 0);

        const QString copy = CreateTemporaryCopy(text("a.tar.gz"));
        QCOMPARE(QFileInfo(copy).path(), tree.path());
        QVERIFY(copy.endsWith(text(".gz")));
        QVERIFY(QFileInfo(copy).size() == 8);
        QVERIFY(CreateTemporaryCopy(text("b")).endsWith(QLatin1Char('.')));
        QVERIFY(CreateTemporaryCopy(text("d")).isNull());
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
    }

    void aFullTargetCostsNothing()
    {
        const Tree tree(text("T/ S/ S/a S/large=") + QString(1 << 20, QLatin1Char('x')), text("/dev/shm"));
        const QString before = Tree::describe("S");
        if (::mount("none", "T", "tmpfs", 0, "size=64k") != 0)
            QSKIP("only root may mount");
        const TemporaryFolder temporary(tree.path() + text("/T"));
        std::ofstream("T/old") << "old";
        QStringList done;
        for (const char *command :
             {"mv S/large T/l", "mv! S/large T/old", "tempcopy S/large", "copy S T", "move S T/M"})
            if (run(text(command)))
                done.append(text(command));
        const QString left = Tree::describe("T");
        QVERIFY(::umount("T") == 0);
        QCOMPARE(done, QStringList());
        QCOMPARE(Tree::describe("S"), before);
        QCOMPARE(left, text("M/ M/a a old"));
    }

    void twoThousandTemporaryFoldersOfEightThreads()
    {
        const Tree tree(QString(), text("/dev/shm"));
        const TemporaryFolder temporary(tree.path());
        const auto descriptors = openDescriptors();
        std::atomic<int> made{0};
        const auto work = [&] {
            for (int i = 0; i < 250; ++i) {
                const TESTempFolder folder(true, true);
                made += QDir(folder.path()).mkpath(text("a/b"));
                std::ofstream(folder.path().toStdString() + "/a/b/c") << "content";
            }
        };
        std::vector<std::thread> threads(8);
        for (std::thread &thread : threads)
            thread = std::thread(work);
        for (std::thread &thread : threads)
            thread.join();
        QThreadPool::globalInstance()->waitForDone();
        QCOMPARE(made.load(), 2000);
        QCOMPARE(Tree::describe(), QCoreApplication::applicationName() + QLatin1Char('/'));
        QCOMPARE(openDescriptors(), descriptors);
    }

    void aFolderWithoutAThreadDoesNotHangTheEnd()
    {
        const Tree tree(QString(), text("/dev/shm"));
        QVERIFY(::chmod(".", 0777) == 0);
        const TemporaryFolder temporary(tree.path());
        const pid_t child = ::fork();
        if (child == 0) {
            constexpr uid_t nobodyElse = 47114;
            const rlimit one{1, 1};
            if (::getuid() == 0 && ::setresuid(nobodyElse, nobodyElse, nobodyElse) != 0)
                ::_exit(2);
            ::setrlimit(RLIMIT_NPROC, &one);
            bool wasMade = false;
            {
                const TESTempFolder folder(true, true);
                wasMade = QFileInfo::exists(folder.path());
            }
            ::_exit(wasMade && QThreadPool::globalInstance()->waitForDone(5000) ? 0 : 1);
        }
        int status = -1;
        QCOMPARE(::waitpid(child, &status, 0), child);
        QCOMPARE(status, 0);
    }
};

QTEST_GUILESS_MAIN(TestFiles)
#include "test_files.moc"
