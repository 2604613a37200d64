#include "support/operations.h"
#include "support/tree.h"

#include <QProcess>
#include <QSet>
#include <QTest>

#include <optional>

#include <fcntl.h>

namespace {

using Words = QSet<QString>;

/// Lacks: the outcome is that of a file system without faults. Refuses: after false the source is as it was,
/// and an existing destination, too. Unsure: after false it is unknown what was done, and no content may be
/// gone. Replaced: as Unsure, but what was to be replaced may be gone.
enum Kind { Lacks, Refuses, Unsure, Replaced };

QString text(const char *latin1)
{
    return QString::fromLatin1(latin1);
}

/// Whether file systems in user space can be mounted.
bool hasFuse()
{
    const int fd = ::open("/dev/fuse", O_RDWR | O_CLOEXEC);
    if (fd >= 0)
        ::close(fd);
    return fd >= 0;
}

/// The file system with faults, which shows one temporary folder in another for as long as it exists.
class Mounted
{
public:
    Mounted()
    {
        struct stat before = {}, now = {};
        ::stat(qPrintable(place()), &before);
        m_server.setProcessChannelMode(QProcess::ForwardedChannels);
        m_server.start(text(FAULTFS_PROGRAM), {folder(), place()});
        m_isMounted = m_server.waitForStarted() && QTest::qWaitFor([&] {
                          return ::stat(qPrintable(place()), &now) == 0 && now.st_dev != before.st_dev;
                      });
    }
    ~Mounted()
    {
        m_server.terminate();
        m_server.waitForFinished();
    }

    bool isMounted() const { return m_isMounted; }
    QString folder() const { return m_folder.path(); }
    QString place() const { return m_place.path(); }

private:
    const QTemporaryDir m_folder, m_place;
    QProcess m_server;
    bool m_isMounted = false;
};

Words wordsOf(const std::string &folder, const QString &prefix)
{
    Words words;
    const QStringList all = Tree::describe(folder).split(QLatin1Char(' '));
    for (const QString &word : all)
        if (!word.isEmpty() && !word.contains(text("->")))
            words.insert(prefix + word);
    return words;
}

Words contentsOf(const Words &words)
{
    Words contents;
    for (const QString &word : words)
        if (!word.endsWith(QLatin1Char('/')))
            contents.insert(
                word.section(word.contains(QLatin1Char('=')) ? QLatin1Char('=') : QLatin1Char('/'), -1));
    return contents;
}

struct Result
{
    bool answer = false;
    Words before, after;
};

/// Runs the command in a tree of its own in `folder`, which is seen as `place`; "far" is another file system,
/// which gets what is beyond "|". What is there is seen behind the back of the file system with faults.
Result execute(const QString &words, const QString &command, const QString &folder, const QString &place)
{
    const Tree far(words.section(QLatin1Char('|'), 1), text("/dev/shm"));
    const Tree tree(words.section(QLatin1Char('|'), 0, 0) + text(" far->") + far.path(), folder);
    const std::string here = tree.path().toStdString(), there = far.path().toStdString();
    Result result;
    result.before = wordsOf(here, QString()) + wordsOf(there, text("far/"));
    QDir::setCurrent(tree.path().replace(folder, place));
    result.answer = run(command);
    QDir::setCurrent(text("/"));
    result.after = wordsOf(here, QString()) + wordsOf(there, text("far/"));
    return result;
}

QString told(const Words &words)
{
    QStringList list(words.begin(), words.end());
    list.sort();
    return list.join(QLatin1Char(' '));
}

} // namespace

class TestFaultfs : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        if (!hasFuse() && !qEnvironmentVariableIsSet("FUSE_IS_NEEDED"))
            QSKIP("/dev/fuse cannot be opened");
        m_mounted.emplace();
        QVERIFY2(m_mounted->isMounted(), "faultfs cannot be mounted");
    }

    void cleanupTestCase() { m_mounted.reset(); }

    void movesTellTheTruthAndLoseNothing_data()
    {
        QTest::addColumn<QString>("faults");
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("command");
        QTest::addColumn<int>("kind");
        QTest::addColumn<bool>("isFalse");

        const struct
        {
            const char *before, *command;
        } moves[] = {
            {"a", "rename a b"},
            {"a b", "rename! a b"},
            {"a", "mv a b"},
            {"a b", "mv! a b"},
            {"S/ S/a S/c", "quick S D"},
            {"S/ S/a S/b/ S/b/c", "move S D"},
            {"a", "rename a far/b"},
            {"a|b", "rename! a far/b"},
            {"a|b", "mv! a far/b"},
            {"S/ S/a S/c", "quick S far/D"},
            {"S/ S/a S/b/ S/b/c", "move S far/D"},
            {"|a", "rename far/a b"},
            {"b|a", "rename! far/a b"},
            {"|a", "mv far/a b"},
            {"b|a", "mv! far/a b"},
            {"|S/ S/a S/c", "quick far/S D"},
            {"|S/ S/a S/b/ S/b/c", "move far/S D"},
        };
        // With the moves that must be false.
        const struct
        {
            const char *faults;
            Kind kind;
            const char *areFalse;
        } rows[] = {
            {"late", Lacks, ""},
            {"late,link:EPERM", Lacks, ""},
            {"late,link:EPERM,close:EIO", Refuses,
             "mv a b;mv! a b;move S D;rename far/a b;rename! far/a b;mv far/a b;mv! far/a b;quick far/S D;"
             "move far/S D"},
            {"unlink!EIO", Replaced,
             "mv a b;mv! a b;move S D;rename a far/b;rename! a far/b;mv! a far/b;quick S far/D;move S far/D"},
            {"unlink!ETIMEDOUT", Replaced,
             "mv a b;mv! a b;move S D;rename a far/b;rename! a far/b;mv! a far/b;quick S far/D;move S far/D"},
            {"unlink!EIO,exclusive:EINVAL", Replaced, "rename a b;quick S D"},
            {"unlink!EIO,link:EPERM", Replaced, "mv a b;mv! a b;move S D"},
            {"unlink!ESTALE", Replaced, ""},
            {"link!EIO", Unsure, "rename! a b;mv a b;mv! a b;move S D;rename! far/a b;mv! far/a b"},
            {"link!EIO,exclusive:EINVAL", Unsure, "rename a b;quick S D"},
            {"link!ESTALE", Unsure, ""},
            {"rename!EIO", Unsure, "rename a b;rename! a b;mv! a b;quick S D"},
            {"rename!ETIMEDOUT", Unsure, "rename a b;rename! a b;mv! a b;quick S D"},
            {"rename!ESTALE", Unsure, ""},
            {"rename!EIO,exclusive:EINVAL,link:EPERM", Replaced, "rename a b;rename! a b;mv! a b;quick S D"},
            {"unlink:EACCES", Refuses, "move S D;rename a far/b;rename! a far/b;quick S far/D;move S far/D"},
            {"link:EPERM", Lacks, ""},
            {"link:EOPNOTSUPP", Lacks, ""},
            {"exclusive:EINVAL", Lacks, ""},
            {"exclusive:EINVAL,link:EPERM", Lacks, ""},
            {"exclusive:EINVAL,link:EOPNOTSUPP,replace:EEXIST", Lacks, ""},
            {"link:EPERM,replace:EEXIST", Lacks, ""},
            {"fsyncdir:EINVAL", Lacks, ""},
            {"fsyncdir:EIO", Unsure, "rename! a b;mv a b;mv! a b;move S D;mv far/a b;move far/S D"},
            {"untyped", Lacks, ""},
            {"coarse", Lacks, ""},
            {"coarse,link:EPERM", Lacks, ""},
            // The last: the kernel does not ask again after this answer.
            {"fsyncdir:ENOSYS", Lacks, ""},
        };
        for (const auto &row : rows)
            for (const auto &move : moves)
                QTest::addRow("%s: [%s] %s", row.faults, move.before, move.command)
                    << text(row.faults) << text(move.before) << text(move.command) << int(row.kind)
                    << text(row.areFalse).split(QLatin1Char(';')).contains(text(move.command));
    }

    void movesTellTheTruthAndLoseNothing()
    {
        QFETCH(QString, faults);
        QFETCH(QString, before);
        QFETCH(QString, command);
        QFETCH(int, kind);
        QFETCH(bool, isFalse);
        QVERIFY(m_mounted && m_mounted->isMounted());
        const QString folder = m_mounted->folder() + QLatin1Char('/') + faults;
        QDir().mkpath(folder);
        const Result sound = execute(before, command, m_mounted->folder(), m_mounted->folder());
        const Result now = execute(before, command, folder, m_mounted->place() + QLatin1Char('/') + faults);
        const QByteArray seen =
            text("%1: %2").arg(now.answer ? text("true") : text("false"), told(now.after)).toUtf8();
        QVERIFY2(sound.answer, "false without a fault");

        QVERIFY2(contentsOf(now.after).contains(contentsOf(sound.after)), seen.constData());
        if (kind == Lacks) {
            QVERIFY2(now.answer, seen.constData());
            QVERIFY2(now.after == sound.after, seen.constData());
        } else if (now.answer) {
            QVERIFY2(!isFalse, seen.constData());
            // A draft that the file system does not let go stays, and MoveFile() may leave the source.
            QVERIFY2(now.after.contains(sound.after), seen.constData());
            QVERIFY2(kind == Refuses || now.after == sound.after, seen.constData());
        } else {
            QVERIFY2(kind == Replaced || contentsOf(now.after).contains(contentsOf(now.before)),
                     seen.constData());
            if (kind == Refuses)
                QVERIFY2(now.after.contains(now.before), seen.constData());
        }
    }

private:
    std::optional<Mounted> m_mounted;
};

QTEST_GUILESS_MAIN(TestFaultfs)
#include "test_faultfs.moc"
