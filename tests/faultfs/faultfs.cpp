// A file system in user space that shows a folder and answers as poor ones do. In each folder of its root the
// name of that folder says how: words, separated by commas.
//
//     CALL:ERROR  the call is not done and fails: "link:EPERM"
//     CALL!ERROR  the call is done, and told to have failed: "unlink!EIO"
//     late        what is written is stored when the file is closed
//     untyped     listings do not tell what an entry is
//     coarse      time stamps are whole seconds
//
// CALL is link, unlink, rename, replace (a rename onto an existing name), exclusive (a rename with flags),
// fsyncdir, or close, which then stores nothing. It runs until it is unmounted or gets SIGTERM. Usage:
// faultfs FOLDER MOUNTPOINT

#define FUSE_USE_VERSION 31
#include <fuse.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <sstream>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace {

struct Fault
{
    int error = 0;
    bool isDone = false;
};

using Faults = std::map<std::string, Fault>;

constexpr int kErrors = 200;
std::string root;

Faults parse(const std::string &text)
{
    Faults faults;
    std::istringstream words(text);
    for (std::string word; std::getline(words, word, ',');) {
        const std::size_t end = word.find_first_of(":!");
        Fault fault;
        for (int error = 1; end != std::string::npos && error < kErrors && fault.error == 0; ++error)
            if (const char *name = ::strerrorname_np(error); name && word.substr(end + 1) == name)
                fault = {error, word[end] == '!'};
        faults[word.substr(0, end)] = fault;
    }
    return faults;
}

/// The faults of the first folder in a path.
const Faults &faultsOf(const std::string &path)
{
    static std::map<std::string, Faults> known;
    const std::string words = path.substr(1, path.find('/', 1) - 1);
    return known.try_emplace(words, parse(words)).first->second;
}

bool has(const char *path, const char *word)
{
    return faultsOf(path).count(word) > 0;
}

std::string real(const char *path)
{
    return root + path;
}

int answer(long returned)
{
    return returned == -1 ? -errno : int(returned);
}

/// What the call is told to have returned; `call` makes it.
template <typename Call>
int answerTo(const char *path, const char *name, const Call &call)
{
    const Faults &faults = faultsOf(path);
    const auto fault = faults.find(name);
    if (fault == faults.end())
        return answer(call());
    const int done = fault->second.isDone ? answer(call()) : 0;
    return done < 0 ? done : -fault->second.error;
}

/// An open file, and what a late file system has still to store.
struct File
{
    int fd = -1;
    bool isChanged = false;
    std::string pending;
};

File *fileOf(const fuse_file_info *info)
{
    return reinterpret_cast<File *>(info->fh); // NOLINT(performance-no-int-to-ptr): as the kernel keeps it
}

void makeCoarse(const char *path, struct stat *info)
{
    if (has(path, "coarse"))
        info->st_atim.tv_nsec = info->st_mtim.tv_nsec = info->st_ctim.tv_nsec = 0;
}

int getAttributes(const char *path, struct stat *result, fuse_file_info *info)
{
    const File *file = info ? fileOf(info) : nullptr;
    const int done = answer(file ? ::fstat(file->fd, result) : ::lstat(real(path).c_str(), result));
    if (done == 0 && file && file->isChanged)
        result->st_size = off_t(file->pending.size());
    makeCoarse(path, result);
    return done;
}

int open(const char *path, int flags, mode_t mode, fuse_file_info *info)
{
    const int fd = ::open(real(path).c_str(), flags | O_CLOEXEC, mode);
    if (fd < 0)
        return -errno;
    auto *file = new File();
    file->fd = fd;
    info->fh = reinterpret_cast<std::uint64_t>(file);
    info->direct_io = 1; // nothing is kept, so that each reader sees what is stored
    return 0;
}

int readFile(const char *, char *buffer, std::size_t size, off_t at, fuse_file_info *info)
{
    return answer(::pread(fileOf(info)->fd, buffer, size, at));
}

int writeFile(const char *path, const char *buffer, std::size_t size, off_t at, fuse_file_info *info)
{
    File *file = fileOf(info);
    if (!has(path, "late"))
        return answer(::pwrite(file->fd, buffer, size, at));
    file->isChanged = true;
    file->pending.resize(std::max(file->pending.size(), std::size_t(at) + size));
    std::memcpy(&file->pending[std::size_t(at)], buffer, size);
    return int(size);
}

int flush(const char *path, fuse_file_info *info)
{
    File *file = fileOf(info);
    return answerTo(path, "close", [&] {
        const bool isStored = ::pwrite(file->fd, file->pending.data(), file->pending.size(), 0) >= 0;
        file->isChanged = false;
        return isStored ? 0 : -1;
    });
}

int release(const char *, fuse_file_info *info)
{
    ::close(fileOf(info)->fd);
    delete fileOf(info);
    return 0;
}

int truncate(const char *path, off_t size, fuse_file_info *info)
{
    if (info && has(path, "late")) {
        fileOf(info)->pending.resize(std::size_t(size));
        fileOf(info)->isChanged = true;
        return 0;
    }
    return answer(::truncate(real(path).c_str(), size));
}

int list(const char *path, void *buffer, fuse_fill_dir_t add, off_t, fuse_file_info *, fuse_readdir_flags)
{
    DIR *folder = ::opendir(real(path).c_str());
    if (!folder)
        return -errno;
    while (const dirent *entry = ::readdir(folder)) {
        struct stat info = {};
        info.st_ino = entry->d_ino;
        info.st_mode = has(path, "untyped") ? 0 : DTTOIF(entry->d_type);
        add(buffer, entry->d_name, &info, 0, fuse_fill_dir_flags(0));
    }
    ::closedir(folder);
    return 0;
}

int rename(const char *from, const char *to, unsigned flags)
{
    struct stat info;
    const std::string target = real(to);
    const bool isTaken = ::lstat(target.c_str(), &info) == 0;
    const char *call = flags != 0 && has(to, "exclusive")            ? "exclusive"
                       : flags == 0 && isTaken && has(to, "replace") ? "replace"
                                                                     : "rename";
    return answerTo(
        to, call, [&] { return ::renameat2(AT_FDCWD, real(from).c_str(), AT_FDCWD, target.c_str(), flags); });
}

int readLink(const char *path, char *buffer, std::size_t size)
{
    const ssize_t length = ::readlink(real(path).c_str(), buffer, size - 1);
    if (length >= 0)
        buffer[length] = '\0';
    return length < 0 ? -errno : 0;
}

void *start(fuse_conn_info *connection, fuse_config *config)
{
    connection->want &= ~unsigned(FUSE_CAP_READDIRPLUS | FUSE_CAP_READDIRPLUS_AUTO);
    config->use_ino = 1;
    config->hard_remove = 1; // no names of its own for open files
    config->entry_timeout = config->attr_timeout = config->negative_timeout = 0;
    return nullptr;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3)
        return 2;
    root = argv[1];
    fuse_operations calls = {};
    calls.init = start;
    calls.getattr = getAttributes;
    calls.access = [](const char *path, int mode) { return answer(::access(real(path).c_str(), mode)); };
    calls.open = [](const char *path, fuse_file_info *info) {
        return open(path, info->flags & ~(O_CREAT | O_EXCL), 0, info);
    };
    calls.create = [](const char *path, mode_t mode, fuse_file_info *info) {
        return open(path, info->flags | O_CREAT, mode, info);
    };
    calls.read = readFile;
    calls.write = writeFile;
    calls.flush = flush;
    calls.release = release;
    calls.truncate = truncate;
    calls.readdir = list;
    calls.readlink = readLink;
    calls.mkdir = [](const char *path, mode_t mode) { return answer(::mkdir(real(path).c_str(), mode)); };
    calls.rmdir = [](const char *path) { return answer(::rmdir(real(path).c_str())); };
    calls.symlink = [](const char *to, const char *path) {
        return answer(::symlink(to, real(path).c_str()));
    };
    calls.unlink = [](const char *path) {
        return answerTo(path, "unlink", [&] { return ::unlink(real(path).c_str()); });
    };
    calls.link = [](const char *from, const char *to) {
        return answerTo(to, "link", [&] { return ::link(real(from).c_str(), real(to).c_str()); });
    };
    calls.rename = rename;
    calls.chmod = [](const char *path, mode_t mode, fuse_file_info *) {
        return answer(::chmod(real(path).c_str(), mode));
    };
    calls.chown = [](const char *path, uid_t user, gid_t group, fuse_file_info *) {
        return answer(::lchown(real(path).c_str(), user, group));
    };
    calls.utimens = [](const char *path, const timespec times[2], fuse_file_info *) {
        return answer(::utimensat(AT_FDCWD, real(path).c_str(), times, AT_SYMLINK_NOFOLLOW));
    };
    calls.fsync = [](const char *, int, fuse_file_info *) { return 0; };
    calls.fsyncdir = [](const char *path, int, fuse_file_info *) {
        return answerTo(path, "fsyncdir", [] { return 0; });
    };
    calls.statfs = [](const char *path, struct statvfs *info) {
        return answer(::statvfs(real(path).c_str(), info));
    };

    char foreground[] = "-f", alone[] = "-s";
    char *options[] = {argv[0], foreground, alone, argv[2], nullptr};
    return fuse_main(4, options, &calls, nullptr);
}
