#include "contest.h"
#include "inputs.h"
#include "rows.h"

#include <TesCore/TESCoreUtil.h>

#include <QDir>

namespace fs = std::filesystem;

namespace {

// The walks as one writes them with Qt.
constexpr QDir::Filters visible = QDir::Dirs | QDir::Files | QDir::NoDotAndDotDot;

int qtCount(const QString &path)
{
    int count = 0;
    const QFileInfoList infos = QDir(path).entryInfoList(visible);
    for (const QFileInfo &info : infos)
        count += 1 + (info.isDir() && !info.isSymLink() ? qtCount(info.absoluteFilePath()) : 0);
    return count;
}

QStringList qtFiles(const QString &path)
{
    QStringList files;
    const QFileInfoList infos = QDir(path).entryInfoList();
    for (const QFileInfo &info : infos) {
        if (info.fileName() == QLatin1String(".") || info.fileName() == QLatin1String(".."))
            continue;
        if (info.isFile())
            files.append(info.absoluteFilePath());
        else
            files.append(qtFiles(info.absoluteFilePath()));
    }
    return files;
}

bool qtCopy(const QDir &source, const QDir &destination)
{
    if (!destination.exists() && !destination.mkpath(QStringLiteral(".")))
        return false;
    const QFileInfoList infos = source.entryInfoList(visible);
    for (const QFileInfo &info : infos) {
        const QString copy = destination.absoluteFilePath(info.fileName());
        if (info.isDir() ? !destination.mkdir(info.fileName()) || !qtCopy(info.absoluteFilePath(), copy)
                         : !QFile::copy(info.absoluteFilePath(), copy))
            return false;
    }
    return true;
}

bool qtDelete(const QString &path)
{
    QDir folder(path);
    const QFileInfoList infos = folder.entryInfoList(visible);
    for (const QFileInfo &info : infos)
        if (info.isDir() ? !qtDelete(info.absoluteFilePath()) : !folder.remove(info.fileName()))
            return false;
    return folder.rmdir(folder.absolutePath());
}

int fsCount(const std::string &path)
{
    const fs::recursive_directory_iterator entries(path);
    return int(std::distance(entries, fs::recursive_directory_iterator()));
}

bool fsCopy(const std::string &from, const std::string &to)
{
    fs::copy(from, to, fs::copy_options::recursive);
    return true;
}

int findCount(const std::string &path)
{
    return int(output({"find", path, "-mindepth", "1", "-printf", "."}).size());
}

bool run(const std::vector<std::string> &command)
{
    return output(command).isEmpty();
}

/// The rows of the operations on one tree. Copies and moves lead to the storage `to`.
class TreeRows
{
public:
    TreeRows(Table &toTable, const Shape &ofShape, const Storage &from, const Storage &to)
        : m_table(toTable)
        , m_shape(ofShape)
        , m_storage(from)
        , m_input(label(ofShape, from, to))
        , m_gone(from.path("gone"))
        , m_copy(to.path("copy"))
    {
    }

    void addCount(double target)
    {
        add("getFileAndDirCount", target, [this] {
            return Contest{{{"ours", [this] { return TESCoreUtil::getFileAndDirCount(path(m_tree)); }},
                            {"std::filesystem", [this] { return fsCount(m_tree); }},
                            {"find", [this] { return findCount(m_tree); }},
                            {"Qt", [this] { return qtCount(path(m_tree)); }}}};
        });
    }

    void addList(double target)
    {
        add("RecursiveGetFiles", target, [this] {
            return Contest{{{"ours", [this] { return TESCoreUtil::RecursiveGetFiles(path(m_tree)); }},
                            {"Qt", [this] { return qtFiles(path(m_tree)); }}}};
        });
    }

    void addDelete(double target)
    {
        add("DeleteFolderAndFiles", target, [this] {
            return Contest{{{"ours", [this] { return TESCoreUtil::DeleteFolderAndFiles(path(m_gone)); }},
                            {"std::filesystem", [this] { return fs::remove_all(m_gone) > 0; }},
                            {"rm -rf", std::bind(run, Words{"rm", "-rf", m_gone})},
                            {"Qt", [this] { return qtDelete(path(m_gone)); }}},
                           std::bind(run, Words{"cp", "-r", m_tree, m_gone}),
                           [this] { requireGone(); }};
        });
    }

    void addCopy(double target)
    {
        add("CopyDirectory", target, [this] {
            return Contest{
                {{"ours", [this] { return TESCoreUtil::CopyDirectory(path(m_tree), path(m_copy)); }},
                 {"std::filesystem", [this] { return fsCopy(m_tree, m_copy); }},
                 {"cp -r", std::bind(run, Words{"cp", "-r", m_tree, m_copy})},
                 {"Qt", [this] { return qtCopy(path(m_tree), path(m_copy)); }}},
                [this] { fs::remove_all(m_copy); },
                [this] { requireCopy(); }};
        });
    }

    /// `copier` is the command with which one copies before one deletes.
    void addMove(double target, const std::string &copier = "cp -r")
    {
        add("MoveDirectory", target, [this, copier] {
            const auto script = [this](const std::string &commands) {
                return std::bind(run, Words{"sh", "-c", commands + " && sync -f $1", m_gone, m_copy});
            };
            return Contest{
                {{"ours", [this] { return TESCoreUtil::MoveDirectory(path(m_gone), path(m_copy)); }},
                 {copier + ", sync -f, rm -rf",
                  std::bind(run,
                            Words{"sh", "-c", copier + " $0 $1 && sync -f $1 && rm -rf $0", m_gone, m_copy})},
                 {"mv, sync -f", script("mv $0 $1"), false},
                 {"rsync, sync -f",
                  script("rsync -a --remove-source-files $0/ $1 && find $0 -depth -type d -delete"), false}},
                [this] { prepareMove(); },
                [this] {
                    requireGone();
                    requireCopy();
                }};
        });
    }

private:
    using Words = std::vector<std::string>;

    static QString path(const std::string &name) { return QString::fromStdString(name); }

    static std::string label(const Shape &shape, const Storage &from, const Storage &to)
    {
        return shape.description + (", " + from.kind()) + (&from == &to ? "" : " to " + to.kind());
    }

    void prepareMove() const
    {
        std::error_code error;
        fs::rename(m_copy, m_gone, error); // the last move's; making another tree takes longer than moving it
        if (error) {
            fs::remove_all(m_copy);
            run({"cp", "-r", m_tree, m_gone});
        }
        run({"sync", "-f", m_gone});
    }

    void requireGone() const
    {
        if (fs::exists(m_gone))
            fail(m_gone + " is still there");
    }

    void requireCopy() const
    {
        if (!m_shape.isScale)
            requireSameTree(m_tree, m_copy);
        else if (findCount(m_copy) != findCount(m_tree))
            fail(m_copy + " holds less or more than " + m_tree);
    }

    void add(const char *operation, double target, const std::function<Contest()> &contest)
    {
        m_table.add({operation, m_input, target, m_shape.files(), m_shape.runs, m_shape.isScale}, [&] {
            m_tree = m_storage.tree(m_shape);
            Contest all = contest();
            if (m_shape.isScale) // the last ones are slow, and have shown so on the other trees
                all.contenders.resize(std::min<std::size_t>(all.contenders.size(), 3));
            return all;
        });
        fs::remove_all(m_gone);
        fs::remove_all(m_copy);
    }

    Table &m_table;
    const Shape &m_shape;
    const Storage &m_storage;
    const std::string m_input;
    const std::string m_gone;
    const std::string m_copy;
    std::string m_tree;
};

} // namespace

void addTreeRows(Table &table, const Storage &storage)
{
    const bool isMemory = storage.kind() == "memory";
    // These targets hold in memory; on a disk it is the disk that counts.
    const auto inMemory = [=](double target) { return isMemory ? target : 0; };
    TreeRows small(table, smallFiles, storage, storage);
    small.addCount(inMemory(0.65));
    small.addList(inMemory(0.55));
    small.addCopy(inMemory(0.9));
    small.addDelete(inMemory(1));
    small.addMove(0.4);
    TreeRows large(table, largeFiles, storage, storage);
    large.addCopy(inMemory(1.05));
    large.addMove(0.01);
    if (!isMemory) // the rest takes long and shows little but the disk
        return;
    TreeRows wide(table, wideFolder, storage, storage);
    wide.addCount(0.65);
    wide.addList(0.55);
    wide.addDelete(1);
}

void addMoveAcrossRow(Table &table, const Storage &from, const Storage &to)
{
    TreeRows(table, smallFiles, from, to).addMove(1.1, "cp -rp");
}

void addScaleRows(Table &table, const Storage &storage)
{
    constexpr double growth = 1.1;
    for (const Shape &shape : scaleShapes) {
        TreeRows rows(table, shape, storage, storage);
        rows.addCount(growth);
        rows.addList(growth);
        rows.addDelete(growth);
        rows.addCopy(growth);
        rows.addMove(growth);
        storage.remove(shape);
    }
}
