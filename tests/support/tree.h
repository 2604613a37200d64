#ifndef TESCORE_TESTS_TREE_H
#define TESCORE_TESTS_TREE_H

#include <QDir>
#include <QStringList>
#include <QTemporaryDir>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include <sys/stat.h>
#include <unistd.h>

inline QString text(const char *utf8)
{
    return QString::fromUtf8(utf8);
}

/// Where another file system than that of the temporary folder is; null when there is none.
inline QString otherFileSystem()
{
    struct stat here, there;
    const bool isOther = ::stat(qPrintable(QDir::tempPath()), &here) == 0 &&
                         ::stat("/dev/shm", &there) == 0 && here.st_dev != there.st_dev;
    return isOther ? text("/dev/shm") : QString();
}

/// A folder tree in a temporary folder, made from a description and described again, with std::filesystem
/// only. It is the working folder for as long as it exists. The words of a description:
///
///     name (a file that holds its own name)   name=content   name/ (a folder)   name->target (a link) name|
///     (a FIFO)
class Tree
{
public:
    explicit Tree(const QString &description = {}, const QString &where = QDir::tempPath())
        : m_folder((QFileInfo(where).isWritable() ? where : QDir::tempPath()) +
                   QStringLiteral("/tree-XXXXXX"))
    {
        QDir::setCurrent(m_folder.path());
        const QStringList words = description.split(QLatin1Char(' '));
        for (const QString &word : words) {
            const std::string text = word.toStdString();
            if (const auto arrow = text.find("->"); arrow != std::string::npos)
                std::filesystem::create_symlink(text.substr(arrow + 2), text.substr(0, arrow));
            else if (!text.empty() && text.back() == '/')
                std::filesystem::create_directory(text);
            else if (!text.empty() && text.back() == '|')
                ::mkfifo(text.substr(0, text.size() - 1).c_str(), 0600);
            else if (!text.empty())
                makeFile(text);
        }
    }
    ~Tree() { QDir::setCurrent(QStringLiteral("/")); }

    QString path() const { return m_folder.path(); }

    static QString describe(const std::string &folder = ".")
    {
        QStringList words;
        for (const auto &entry : std::filesystem::recursive_directory_iterator(folder))
            words.append(QString::fromStdString(word(entry, folder)));
        words.sort();
        return words.join(QLatin1Char(' '));
    }

private:
    static void makeFile(const std::string &text)
    {
        const auto equals = text.find('=');
        const std::filesystem::path path = text.substr(0, equals);
        std::ofstream(path) << (equals == std::string::npos ? path.filename().string()
                                                            : text.substr(equals + 1));
    }

    static std::string word(const std::filesystem::directory_entry &entry, const std::string &folder)
    {
        const std::string name = entry.path().lexically_relative(folder).string();
        if (entry.is_symlink())
            return name + "->" + std::filesystem::read_symlink(entry).string();
        if (entry.is_directory())
            return name + '/';
        if (!entry.is_regular_file())
            return name + '|';
        std::string content(std::size_t(entry.file_size()), ' ');
        std::ifstream(entry.path()).read(content.data(), std::streamsize(content.size()));
        if (content == entry.path().filename().string())
            return name;
        const bool isLong = content.size() > kLongest;
        return name + '=' + (isLong ? std::to_string(std::hash<std::string>()(content)) : content);
    }

    static constexpr std::size_t kLongest = 100; // content that is described as it is

    QTemporaryDir m_folder;
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

/// How many files and folders are open. Pipes are not counted: a sanitizer opens some when it looks up names.
inline auto openDescriptors()
{
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::count_if(begin(all), end(all), [](const auto &entry) {
        return std::filesystem::read_symlink(entry).string().front() == '/';
    });
}

/// Makes the process an ordinary user for as long as it exists: root may do everything, so nothing is refused
/// to it.
class AsOrdinaryUser
{
public:
    AsOrdinaryUser() : m_uid(::getuid()) { become(m_uid == 0 ? 65534 : m_uid); }
    ~AsOrdinaryUser() { become(m_uid); }

private:
    void become(uid_t uid) const
    {
        if (m_uid == 0 && ::setresuid(uid, uid, 0) != 0)
            qFatal("cannot change the user");
    }
    const uid_t m_uid;
};

#endif
