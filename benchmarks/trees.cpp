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

/// The rows of the operations on one tree.
class TreeRows
{
public:
    TreeRows(Table &toTable, const Storage &onStorage, const Shape &ofShape)
        : table(toTable), storage(onStorage), shape(ofShape)
    {
    }

    void addListings()
    {
        add("getFileAndDirCount", 0.65, [this] {
            return Contest{{{"ours", [this] { return TESCoreUtil::getFileAndDirCount(path(tree)); }},
                            {"std::filesystem", [this] { return fsCount(tree); }},
                            {"Qt", [this] { return qtCount(path(tree)); }},
                            {"find", [this] { return findCount(tree); }}}};
        });
        add("RecursiveGetFiles", 0.55, [this] {
            return Contest{{{"ours", [this] { return TESCoreUtil::RecursiveGetFiles(path(tree)); }},
                            {"Qt", [this] { return qtFiles(path(tree)); }}}};
        });
    }

    void addDelete()
    {
        add("DeleteFolderAndFiles", 1, [this] {
            return Contest{{{"ours", [this] { return TESCoreUtil::DeleteFolderAndFiles(path(gone)); }},
                            {"std::filesystem", [this] { return fs::remove_all(gone) > 0; }},
                            {"rm -rf", std::bind(run, Words{"rm", "-rf", gone})},
                            {"Qt", [this] { return qtDelete(path(gone)); }}},
                           std::bind(run, Words{"cp", "-r", tree, gone}),
                           [this] { requireGone(); }};
        });
    }

    void addCopy(double target)
    {
        add("CopyDirectory", target, [this] {
            return Contest{{{"ours", [this] { return TESCoreUtil::CopyDirectory(path(tree), path(copy)); }},
                            {"std::filesystem", [this] { return fsCopy(tree, copy); }},
                            {"cp -r", std::bind(run, Words{"cp", "-r", tree, copy})},
                            {"Qt", [this] { return qtCopy(path(tree), path(copy)); }}},
                           [this] { fs::remove_all(copy); },
                           [this] { requireSameTree(tree, copy); }};
        });
    }

    void addMove()
    {
        add("MoveDirectory", 1.1, [this] {
            const std::string script = "cp -r $0 $1 && sync -f $1 && rm -rf $0";
            return Contest{
                {{"ours", [this] { return TESCoreUtil::MoveDirectory(path(gone), path(copy)); }},
                 {"cp -r, sync -f, rm -rf", std::bind(run, Words{"sh", "-c", script, gone, copy})}},
                [this] {
                    fs::remove_all(copy);
                    run({"cp", "-r", tree, gone});
                    run({"sync", "-f", gone});
                },
                [this] {
                    requireGone();
                    requireSameTree(tree, copy);
                }};
        });
    }

private:
    using Words = std::vector<std::string>;

    static QString path(const std::string &name) { return QString::fromStdString(name); }

    void requireGone() const
    {
        if (fs::exists(gone))
            fail(gone + " is still there");
    }

    /// The targets hold in memory; on a disk it is the disk that counts.
    void add(const char *operation, double target, const std::function<Contest()> &contest)
    {
        const std::string input = shape.description + (", " + storage.kind());
        table.add({operation, input, storage.kind() == "memory" ? target : 0, shape.files()}, [&] {
            tree = storage.tree(shape);
            return contest();
        });
        fs::remove_all(gone);
        fs::remove_all(copy);
    }

    Table &table;
    const Storage &storage;
    const Shape &shape;
    std::string tree;
    const std::string gone = storage.path("gone");
    const std::string copy = storage.path("copy");
};

} // namespace

void addTreeRows(Table &table, const Storage &storage)
{
    TreeRows small(table, storage, smallFiles);
    TreeRows wide(table, storage, wideFolder);
    TreeRows large(table, storage, largeFiles);
    small.addListings();
    small.addCopy(0.9);
    small.addDelete();
    small.addMove();
    large.addCopy(1.05);
    if (storage.kind() == "disk") // the rest takes long and shows little but the disk
        return;
    wide.addListings();
    wide.addDelete();
    large.addMove();
}
