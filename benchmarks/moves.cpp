#include "contest.h"
#include "inputs.h"
#include "rows.h"

#include <TesCore/TESCoreUtil.h>

#include <QFile>

#include <algorithm>
#include <fstream>
#include <memory>

#include <fcntl.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using Words = std::vector<std::string>;

bool sync(const std::string &path)
{
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const bool synced = ::fsync(descriptor) == 0;
    ::close(descriptor);
    return synced;
}

/// Two folders on one file system, and the files that are moved from the first to the second one by one.
class Files
{
public:
    Files(const Storage &storage, std::vector<std::string> fileNames, std::size_t bytes)
        : m_from(storage.path("from/"))
        , m_to(storage.path("to/"))
        , m_names(std::move(fileNames))
        , m_content(bytes, 'x')
    {
    }
    ~Files()
    {
        fs::remove_all(m_from);
        fs::remove_all(m_to);
    }
    Files(const Files &) = delete;

    /// All files are in the first folder, and on disk.
    void prepare() const
    {
        fs::create_directories(m_from);
        fs::create_directories(m_to);
        for (const std::string &name : m_names) {
            if (fs::exists(m_to + name))
                fs::rename(m_to + name, m_from + name);
            else if (!fs::exists(m_from + name))
                std::ofstream(m_from + name).write(m_content.data(), std::streamsize(m_content.size()));
        }
        output({"sync", "-f", m_from});
    }

    void check() const
    {
        for (const std::string &name : m_names)
            if (fs::exists(m_from + name) || fs::file_size(m_to + name) != m_content.size())
                fail(name + " has not been moved");
    }

    template <typename Move>
    std::function<Result()> each(Move move) const
    {
        return [this, move] {
            return std::all_of(m_names.begin(), m_names.end(), [&](const std::string &name) {
                return move(QString::fromStdString(m_from + name), QString::fromStdString(m_to + name));
            });
        };
    }

    /// `commands` move the file $n from the folder $0 to the folder $t.
    std::function<Result()> shell(const std::string &commands) const
    {
        Words words = {"sh", "-c", "t=$1; shift; for n; do " + commands + "; done", m_from, m_to};
        words.insert(words.end(), m_names.begin(), m_names.end());
        return [=] { return output(words).isEmpty(); };
    }

private:
    const std::string m_from;
    const std::string m_to;
    const Words m_names;
    const std::string m_content;
};

bool qtMove(const QString &source, const QString &destination)
{
    return QFile::copy(source, destination) && QFile::remove(source);
}

/// With what makes the copy durable before the original goes.
bool qtMoveSafely(const QString &source, const QString &destination)
{
    const std::string file = destination.toStdString();
    return QFile::copy(source, destination) && sync(file) && sync(fs::path(file).parent_path()) &&
           QFile::remove(source);
}

bool ourMove(const QString &source, const QString &destination)
{
    return TESCoreUtil::MoveFile(source, destination);
}

/// A rename does the job of a move on one file system; nobody set a target against it.
constexpr const char *renamed = "mv, sync FILE FOLDER";
constexpr const char *renaming = "mv $0$n $t && sync $t$n $t";

} // namespace

void addFileMoveRows(Table &table, const Storage &storage)
{
    table.add({"MoveFile", "1 GB, already on disk, " + storage.kind(), 0.01, 1}, [&] {
        const auto files = std::make_shared<Files>(storage, Words{"large"}, 1'000'000'000);
        return Contest{{{"ours", files->each(ourMove)},
                        {"QFile::copy, QFile::remove", files->each(qtMove)},
                        {renamed, files->shell(renaming), false}},
                       [=] { files->prepare(); },
                       [=] { files->check(); }};
    });
    constexpr int count = 100;
    table.add({"MoveFile", "100 files of 2 KB one by one, " + storage.kind(), 0, count}, [&] {
        Words names;
        for (int i = 0; i < count; ++i)
            names.push_back("file" + std::to_string(i));
        const auto files = std::make_shared<Files>(storage, names, 2000);
        return Contest{{{"ours", files->each(ourMove)},
                        {"QFile::copy, fsync twice, QFile::remove", files->each(qtMoveSafely)},
                        {"cp, sync FILE FOLDER, rm", files->shell("cp $0$n $t && sync $t$n $t && rm $0$n")},
                        {renamed, files->shell(renaming), false}},
                       [=] { files->prepare(); },
                       [=] { files->check(); }};
    });
}
