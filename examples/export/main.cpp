// export SOURCE DESTINATION: copies a folder, gives its text files one kind of line ending, and adds a
// manifest that `sha1sum --check` understands; on request it straightens their quotation marks and packs the
// result with tar. All work is done in a temporary folder; SOURCE is only read,
// and DESTINATION appears when everything is ready.

#include <TesCore/TESCoreUtil.h>
#include <TesCore/TESProcess.h>
#include <TesCore/TESQuote.h>
#include <TesCore/TESTempFolder.h>
#include <TesCore/TTranslator.h>
#include <TesCore/TesCore.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLocale>
#include <QTextStream>
#include <QThreadPool>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <future>
#include <iterator>
#include <limits>

#include <unistd.h>

namespace {

const char usage[] = "Usage: export [OPTIONS] SOURCE DESTINATION\n"
                     "  --manifest=NAME  the manifest's file name (MANIFEST.sha1)\n"
                     "  --rows=N         how many files to list (20)\n"
                     "  --replace        DESTINATION may exist and hold something; it is replaced\n"
                     "  --straighten-quotes  typographic quotation marks become plain ones\n"
                     "  --locale=NAME    the language whose marks these are, such as de_DE (the system's)\n"
                     "  --archive        also packs the result into DESTINATION.tar\n"
                     "  --archive-seconds=N  how long that may take (60)\n"
                     "  --verbosetesprocess  reports how tar ended\n"
                     "  --lang=NAME      the language of the messages that come from the library\n";

const char *const switches[] = {"--replace", "--straighten-quotes", "--archive", "--verbosetesprocess"};
const char *const values[] = {"--manifest=", "--rows=", "--locale=", "--archive-seconds=", "--lang="};

// A text is held in memory as a whole; what is larger is left as it is.
constexpr qint64 largestText = Q_INT64_C(512) * 1024 * 1024;

struct Options
{
    QString source;
    QString destination;
    QString manifest;
    int rows = 20;
    bool replace = false;
    bool straighten = false;
    QLocale locale;
    bool archive = false;
    int archiveSeconds = 60;
};

/// One line of the manifest and of the table.
struct ExportedFile
{
    QString name;
    qint64 size = 0;
    QByteArray digest;
    bool normalised = false;
    bool straightened = false;
};

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

/// How far the work is: one line that a terminal shows while it goes on, and nothing anywhere else.
class Progress
{
public:
    ~Progress() { clear(); }

    void clear()
    {
        if (!m_step.isNull())
            write(QString());
        m_step = QString();
    }

    void show(const QString &step, int done, int all)
    {
        // Often enough to look alive; showing it is not to take longer than the work.
        if (step == m_step && m_sinceShown.elapsed() < 100)
            return;
        m_step = step;
        m_sinceShown.start();
        write(QStringLiteral("%1: %2 of %3").arg(step).arg(done).arg(all));
    }

    /// Does a job that fills `folder` with `all` entries, and looks meanwhile how many are there.
    template <typename Job>
    bool watch(const QString &step, const QString &folder, int all, Job job)
    {
        if (!m_isTerminal)
            return job();
        std::future<bool> result = std::async(std::launch::async, job);
        do
            show(step, TESCoreUtil::getFileAndDirCount(folder), all);
        while (result.wait_for(std::chrono::milliseconds(100)) != std::future_status::ready);
        return result.get();
    }

private:
    void write(const QString &line) const
    {
        if (m_isTerminal)
            std::fputs(("\r\033[K" + line.toLocal8Bit()).constData(), stderr);
    }

    const bool m_isTerminal = ::isatty(STDERR_FILENO) == 1;
    QString m_step;
    QElapsedTimer m_sinceShown;
};

/// Each step returns what went wrong; nothing means that it succeeded.
using Problem = QString;

bool isSameOrInside(const QString &path, const QString &folder)
{
    return path == folder ||
           path.startsWith(folder.endsWith(QLatin1Char('/')) ? folder : folder + QLatin1Char('/'));
}

/// The path without links and "..", also when its last parts do not exist yet.
QString resolved(const QString &path)
{
    QFileInfo info(QDir::cleanPath(QFileInfo(path).absoluteFilePath()));
    QString missing;
    for (; !info.exists() && !info.isRoot(); info.setFile(info.path()))
        missing.prepend(QLatin1Char('/') + info.fileName());
    return QDir::cleanPath(info.canonicalFilePath() + missing);
}

bool isEmptyFolder(const QString &path)
{
    return QDir(path).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

bool isOption(const QString &argument)
{
    const auto isSwitch = [&](const char *name) { return argument == QLatin1String(name); };
    const auto isValue = [&](const char *name) { return argument.startsWith(QLatin1String(name)); };
    return std::any_of(std::begin(switches), std::end(switches), isSwitch) ||
           std::any_of(std::begin(values), std::end(values), isValue);
}

/// Reads the number that an option gives, if it is given.
Problem readNumber(const QString &option, int least, int most, int *number)
{
    const QString given = TESCoreApp::appArgValue(option);
    if (given.isNull())
        return Problem();
    *number = TESCoreApp::appArgInt(option, -1);
    if (*number >= least && *number <= most)
        return Problem();
    return QStringLiteral("%1 takes a number from %2 to %3").arg(option).arg(least).arg(most);
}

Problem readOptions(Options *options)
{
    QStringList paths;
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    for (const QString &argument : arguments) {
        if (!argument.startsWith(QLatin1Char('-')))
            paths.append(argument);
        else if (!isOption(argument))
            return QStringLiteral("unknown option %1").arg(argument);
    }
    if (paths.size() != 2 || paths.contains(QString()))
        return QStringLiteral("a source and a destination are needed");
    options->source = paths.first();
    // Each step is to see the same folder: taking ".." out of a path can lead elsewhere when there are links.
    options->destination = QDir::cleanPath(paths.last());
    options->manifest =
        TESCoreApp::appArgValue(QStringLiteral("--manifest"), QStringLiteral("MANIFEST.sha1"));
    const QString locale = TESCoreApp::appArgValue(QStringLiteral("--locale"), QLocale::system().name());
    options->locale = QLocale(locale);
    if (options->locale.language() == QLocale::C && locale != QLatin1String("C"))
        return QStringLiteral("%1 is no --locale such as de_DE").arg(locale);
    // Not appArgContains(), to which a path such as "replace=x" would be the switch as well.
    options->replace = arguments.contains(QLatin1String("--replace"));
    options->straighten = arguments.contains(QLatin1String("--straighten-quotes"));
    options->archive = arguments.contains(QLatin1String("--archive"));
    const Problem problem =
        readNumber(QStringLiteral("--rows"), 0, std::numeric_limits<int>::max(), &options->rows);
    if (!problem.isNull())
        return problem;
    constexpr int oneDay = 24 * 60 * 60;
    return readNumber(QStringLiteral("--archive-seconds"), 1, oneDay, &options->archiveSeconds);
}

QString archivePath(const Options &options)
{
    return QFileInfo(options.destination).absoluteFilePath() + QStringLiteral(".tar");
}

/// What keeps the destination from being written.
Problem checkDestination(const Options &options)
{
    const QFileInfo there(options.destination);
    if (there.isSymLink() || (there.exists() && !there.isDir()))
        return QStringLiteral("%1 is not a folder").arg(options.destination);
    if (there.exists() && !isEmptyFolder(options.destination) && !options.replace)
        return QStringLiteral("%1 is not empty; --replace replaces it").arg(options.destination);
    return Problem();
}

/// Refuses what could lose something before anything is done.
Problem check(const Options &options)
{
    if (!QFileInfo(options.source).isDir() || !TESCoreUtil::IsReadable(options.source))
        return QStringLiteral("%1 is not a folder that can be read").arg(options.source);
    if (options.manifest.contains(QLatin1Char('/')) || options.manifest.startsWith(QLatin1Char('.')))
        return QStringLiteral("%1 cannot name the manifest").arg(options.manifest);
    if (QFileInfo::exists(QDir(options.source).filePath(options.manifest)))
        return QStringLiteral("%1 already holds %2; choose another --manifest")
            .arg(options.source, options.manifest);

    const QString source = resolved(options.source);
    const QString destination = resolved(options.destination);
    if (isSameOrInside(source, destination) || isSameOrInside(destination, source))
        return QStringLiteral("%1 and %2 hold one another").arg(options.source, options.destination);
    if (options.archive && QFileInfo::exists(archivePath(options)))
        return QStringLiteral("%1 exists already").arg(archivePath(options));
    return checkDestination(options);
}

bool isMarkedUtf8(const QByteArray &bytes)
{
    return bytes.startsWith("\xef\xbb\xbf");
}

/// The codec of a text file that is to be normalised; null for any other file.
const char *textCodec(const QByteArray &bytes)
{
    const bool isUtf16 = bytes.size() % 2 == 0;
    if (isUtf16 && bytes.startsWith("\xff\xfe") && !bytes.startsWith(QByteArray("\xff\xfe\0\0", 4)))
        return "UTF-16LE";
    if (isUtf16 && bytes.startsWith("\xfe\xff"))
        return "UTF-16BE";
    const QByteArray text = isMarkedUtf8(bytes) ? bytes.mid(3) : bytes;
    return !text.contains('\0') && QString::fromUtf8(text).toUtf8() == text ? "UTF-8" : nullptr;
}

/// Makes every line of a text file end in a line feed and, if asked for, its quotation marks plain. A
/// byte-order mark stays.
Problem normalise(const QString &path, const Options &options, ExportedFile *file)
{
    if (QFileInfo(path).size() > largestText)
        return Problem();
    QString error;
    const QByteArray bytes = TESCoreUtil::ReadBinaryFile(path, &error);
    if (bytes.isNull())
        return error;
    const char *codec = textCodec(bytes);
    if (codec == nullptr)
        return Problem();
    const QString text = TESCoreUtil::ReadUnicodeTextFile(path, &error, codec);
    if (text.isNull())
        return error;
    QString normalised = TESCoreUtil::ConvertLineEndings(text);
    file->normalised = normalised != text;
    if (options.straighten) {
        const QString typographic = normalised;
        normalised = TESQuote::simplifyQuotes(typographic, TESQuote::singleQuotes(options.locale),
                                              TESQuote::doubleQuotes(options.locale));
        file->straightened = normalised != typographic;
    }
    if (normalised == text)
        return Problem();

    const bool marked = qstrcmp(codec, "UTF-8") != 0 || isMarkedUtf8(bytes);
    const QString stored = marked ? QChar(QChar::ByteOrderMark) + normalised : normalised;
    // Without what this user may do: root may do more than the file says.
    constexpr auto ofThisUser = QFile::ReadUser | QFile::WriteUser | QFile::ExeUser;
    const QFile::Permissions permissions = QFile::permissions(path) & ~ofThisUser;
    QFile::setPermissions(path, permissions | QFile::WriteOwner);
    if (!TESCoreUtil::WriteUnicodeTextFile(stored, path, &error, codec))
        return error;
    QFile::setPermissions(path, permissions);
    // Only the opening is reported, so the content is looked at.
    return TESCoreUtil::ReadUnicodeTextFile(path, &error, codec) == normalised
               ? Problem()
               : QStringLiteral("the text could not be written");
}

Problem normaliseAll(const QString &folder, const Options &options, QVector<ExportedFile> *files,
                     Progress *progress)
{
    const QStringList paths = TESCoreUtil::RecursiveGetFiles(folder);
    for (const QString &path : paths) {
        progress->show(QStringLiteral("Normalising"), int(files->size()), int(paths.size()));
        ExportedFile file;
        file.name = QDir(folder).relativeFilePath(path);
        const Problem problem = normalise(path, options, &file);
        if (!problem.isNull())
            return file.name + QStringLiteral(": ") + problem;
        file.size = QFileInfo(path).size();
        file.digest = TESCoreUtil::calcHashSum(path).toHex();
        if (file.digest.isEmpty())
            return file.name + QStringLiteral(": cannot be read");
        files->append(file);
    }
    return Problem();
}

Problem writeManifest(const QString &path, const QVector<ExportedFile> &files)
{
    QByteArray manifest;
    for (const ExportedFile &file : files) {
        QByteArray name = QFile::encodeName(file.name);
        const bool escaped = name.contains('\\') || name.contains('\n') || name.contains('\r');
        name.replace('\\', "\\\\").replace('\n', "\\n").replace('\r', "\\r");
        manifest += (escaped ? "\\" : "") + file.digest + "  " + name + '\n';
    }
    QString error;
    return TESCoreUtil::WriteBinaryFile(manifest, path, &error) ? Problem() : error;
}

/// Moves the finished folder to its place. What it replaces goes last, and comes back if the move fails.
Problem deliver(const QString &folder, const Options &options, Progress *progress)
{
    // Once more: somebody may have put something there while the files were made ready.
    const Problem problem = checkDestination(options);
    if (!problem.isNull())
        return problem;
    const QString &path = options.destination;
    const bool replaces = QFileInfo::exists(path) && !isEmptyFolder(path);
    const QString former = replaces ? TESCoreUtil::GetUniqueFileName(path) : path;
    if (replaces && !TESCoreUtil::RenameFile(path, former))
        return QStringLiteral("%1 cannot be replaced").arg(path);
    const int all = TESCoreUtil::getFileAndDirCount(folder);
    if (!progress->watch(QStringLiteral("Delivering"), path, all,
                         [&] { return TESCoreUtil::MoveDirectory(folder, path); })) {
        TESCoreUtil::DeleteFolderAndFiles(path);
        if (replaces && !TESCoreUtil::RenameFile(former, path))
            return QStringLiteral("%1 cannot be written; what it held is in %2").arg(path, former);
        return QStringLiteral("%1 cannot be written").arg(path);
    }
    if (replaces && !TESCoreUtil::DeleteFolderAndFiles(former))
        return QStringLiteral("part of what was replaced is still in %1").arg(former);
    return Problem();
}

/// As one word of a command line.
QString quoted(QString word)
{
    return QLatin1Char('"') + word.replace(QLatin1Char('"'), QLatin1String("\"\"\"")) + QLatin1Char('"');
}

/// Packs the finished folder. Where tar fails the folder stays, and what tar has made so far goes. tar writes
/// to a file of its own, since it would replace whatever has come to stand in its way.
Problem pack(const Options &options, const QString &scratch)
{
    const QFileInfo folder(QFileInfo(options.destination).absoluteFilePath());
    const QString path = archivePath(options);
    const QString made = scratch + QStringLiteral(".tar");
    const TESProcess::Result result =
        TESProcess::executeProcess(QStringLiteral("tar --create --file=%1 --directory=%2 -- %3")
                                       .arg(quoted(made), quoted(folder.path()), quoted(folder.fileName())),
                                   options.archiveSeconds * 1000);
    const bool isMade = result.processError == QProcess::UnknownError && result.exitCode == 0;
    if (isMade && TESCoreUtil::MoveFile(made, path)) {
        out() << "Packed into " << path << ", " << QFileInfo(path).size() << " bytes\n";
        return Problem();
    }
    TESCoreUtil::DeleteFile(made);
    if (isMade)
        return QStringLiteral("no archive: %1 exists already or cannot be written").arg(path);
    return QStringLiteral("no archive: tar ended with %1 and exit code %2. %3")
        .arg(TESProcess::toString(result.processError), QString::number(result.exitCode),
             QString::fromLocal8Bit(result.stdErr).trimmed());
}

void show(const Options &options, const QVector<ExportedFile> &files)
{
    int width = 4;
    for (const ExportedFile &file : files)
        width = qMax(width, int(file.name.size()));
    const auto line = [width](const QString &name, const QString &size, const QString &endings,
                              const QString &digest) {
        out() << name.leftJustified(width) << size.rightJustified(12) << QStringLiteral("  ")
              << endings.leftJustified(12) << digest << '\n';
    };
    line(QStringLiteral("File"), QStringLiteral("Bytes"), QStringLiteral("Line ends"),
         QStringLiteral("SHA-1"));
    const QVector<ExportedFile> listed = files.mid(0, qMax(0, options.rows));
    for (const ExportedFile &file : listed)
        line(file.name, QString::number(file.size),
             file.normalised ? QStringLiteral("normalised") : QStringLiteral("kept"),
             QString::fromLatin1(file.digest));
    if (files.size() > options.rows)
        out() << "... and " << files.size() - qMax(0, options.rows) << " more\n";
    out() << "\nIn " << QFileInfo(options.destination).absoluteFilePath() << ", with " << options.manifest
          << '\n';
}

void showTotal(const QVector<ExportedFile> &files, qint64 milliseconds)
{
    int normalised = 0;
    int straightened = 0;
    qint64 bytes = 0;
    for (const ExportedFile &file : files) {
        normalised += file.normalised ? 1 : 0;
        straightened += file.straightened ? 1 : 0;
        bytes += file.size;
    }
    out() << files.size() << " files, " << bytes << " bytes, " << normalised << " normalised, "
          << straightened << " straightened, in " << QString::number(double(milliseconds) / 1000, 'f', 2)
          << " seconds\n";
}

Problem run(const Options &options)
{
    QElapsedTimer timer;
    timer.start();
    Problem problem = check(options);
    if (!problem.isNull())
        return problem;
    const TESTempFolder scratch(true, true);
    if (!QFileInfo(scratch.path()).isDir())
        return QStringLiteral("%1 cannot be created").arg(scratch.path());
    Progress progress;
    const QDir source(options.source);
    if (!progress.watch(QStringLiteral("Copying"), scratch.path(),
                        TESCoreUtil::getFileAndDirCount(options.source),
                        [&] { return TESCoreUtil::CopyDirectory(source, QDir(scratch.path())); }))
        return QStringLiteral("%1 cannot be copied to %2").arg(options.source, scratch.path());
    QVector<ExportedFile> files;
    problem = normaliseAll(scratch.path(), options, &files, &progress);
    if (problem.isNull())
        problem = writeManifest(QDir(scratch.path()).filePath(options.manifest), files);
    if (problem.isNull())
        problem = deliver(scratch.path(), options, &progress);
    progress.clear();
    if (!problem.isNull())
        return problem;
    show(options, files);
    if (options.archive)
        problem = pack(options, scratch.path());
    showTotal(files, timer.elapsed());
    return problem;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("export"));
    TTranslator::install();
    Options options;
    Problem problem = readOptions(&options);
    const bool understood = problem.isNull();
    if (understood)
        problem = run(options);
    // The temporary folder deletes itself in the background; a process that ends at once has to wait for it.
    QThreadPool::globalInstance()->waitForDone();
    if (problem.isNull())
        return 0;
    QTextStream(stderr) << "export: " << problem << '\n' << (understood ? "" : usage);
    return understood ? 1 : 2;
}
