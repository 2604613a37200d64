// The first and only program of a virtual machine. It moves files on a disk image and halts at each call that
// changes something, so that its host can copy the image as it would be had the power gone there; or it
// mounts such copies and tells which contents are on them. tools/check-power is the host, and judges.

#include "faults/plan.h"
#include "support/operations.h"

#include <QCoreApplication>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <sstream>

#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/reboot.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

// Files, and the operation on them. "~" is another file system, which forgets nothing.
struct Operation
{
    const char *before, *command;
};

constexpr Operation kOperations[] = {
    {"~/a", "mv ~/a b"},
    {"~/a b", "mv! ~/a b"},
    {"~/a", "rename ~/a b"},
    {"~/a b", "rename! ~/a b"},
    {"~/S/a ~/S/d/b ~/S/d/e/c", "quick ~/S new/place/D"},
    {"~/S/a ~/S/d/b ~/S/d/e/c", "move ~/S new/place/D"},
    {"~/S/a ~/S/d/b D/x D/d/y", "move ~/S D"},
    {"a", "mv a b"},
    {"a b", "mv! a b"},
    {"a d/x", "mv a d/b"},
    {"a d/b", "mv! a d/b"},
    {"a", "rename a b"},
    {"a b", "rename! a b"},
    {"a d/x", "rename a d/b"},
    {"a d/b", "rename! a d/b"},
    {"S/a S/d/b S/d/e/c", "quick S D"},
    {"S/a S/d/b S/d/e/c", "quick S new/place/D"},
    {"S/a S/d/b S/d/e/c", "move S new/place/D"},
    {"S/a S/d/b D/x D/d/y", "move S D"},
};

// Within an inode, within a block, and of many blocks.
constexpr std::size_t kSizes[] = {60, 3000, 70'000};

// Parts of the device that are written back or not.
constexpr off_t kStretch = 32768, kStretches = 64;

const fs::path kDisk = "/mnt/disk", kOther = "/mnt/other";

std::mt19937 chance;
std::size_t number; // of the operation

[[noreturn]] void powerOff()
{
    std::cout << std::flush;
    ::reboot(RB_POWER_OFF);
    std::abort();
}

void must(bool isDone, const std::string &what)
{
    if (isDone)
        return;
    std::cout << "\npower: cannot " << what << ": " << strerror(errno) << std::endl;
    powerOff();
}

std::string setting(const char *name)
{
    const char *value = std::getenv(name);
    return value ? value : "";
}

std::string folderName()
{
    return std::to_string(number);
}

/// Begins with what it is, so that a file tells wherever it is found.
std::string contentOf(const std::string &tag)
{
    const std::size_t size = std::stoul(tag.substr(tag.rfind(':') + 1));
    std::string content;
    while (content.size() < size)
        content += tag + '\n';
    return content.substr(0, size);
}

std::string tagOf(const fs::path &file)
{
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    const std::string content = text.str(), tag = content.substr(0, content.find('\n'));
    if (content.empty())
        return "empty";
    const bool isTag = tag.size() < kSizes[0] && tag.find(':') != std::string::npos && tag.back() != ':';
    return isTag && content == contentOf(tag) ? tag : "torn";
}

void mountAt(const fs::path &place, const std::string &device, const std::string &type,
             const std::string &options)
{
    fs::create_directories(place);
    must(::mount(device.c_str(), place.c_str(), type.c_str(), MS_NOATIME, options.c_str()) == 0,
         "mount " + type);
}

void set(const char *name, int value)
{
    std::ofstream(std::string("/proc/sys/vm/") + name) << value;
}

/// Writes back some of what is in memory, as a kernel does whenever it likes.
void writeBackSome()
{
    const auto way = chance() % 3;
    if (way == 0) { // all that is old enough, which is now everything
        set("dirty_writeback_centisecs", 1);
        set("dirty_expire_centisecs", 1);
        ::usleep(unsigned(chance() % 40'000));
        set("dirty_expire_centisecs", 3000);
        set("dirty_writeback_centisecs", 500);
        return;
    }
    const auto writeBack = [](const fs::path &file, off_t offset, off_t size) {
        const int fd = ::open(file.c_str(), O_RDONLY);
        ::sync_file_range(fd, offset, size,
                          SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER);
        ::close(fd);
    };
    std::error_code error;
    for (const auto &entry : fs::recursive_directory_iterator(kDisk / folderName(), error)) {
        if (chance() % 2 == 0)
            writeBack(entry.path(), 0, 0);
    }
    if (chance() % 2 == 0)
        writeBack(kDisk / folderName(), 0, 0);
    for (off_t i = 0; i < kStretches; ++i) {
        if (chance() % 2 == 0)
            writeBack("/dev/ubda", i * kStretch, kStretch);
    }
    if (way == 2) { // somebody else's file
        const int fd = ::open((kDisk / "unrelated").c_str(), O_WRONLY | O_CREAT, 0600);
        must(::pwrite(fd, &way, 1, 0) == 1 && ::fsync(fd) == 0, "write a file");
        ::close(fd);
    }
}

/// What the disk has been asked to write so far.
std::string writesSoFar()
{
    std::ifstream table("/proc/diskstats");
    std::string word;
    while (table >> word && word != "ubda") {
    }
    for (int i = 0; i < 7; ++i)
        table >> word;
    return word;
}

/// Halts until the host has copied the disk. Tells what is still on the other file system.
void halt(std::string_view call, const char *when)
{
    auto atCall = std::exchange(plan->atCall, nullptr);
    if (setting("SEED") != "0" && when != std::string_view("before") && chance() % 2 == 0)
        writeBackSome();
    std::cout << "\npower: cut " << number << ' ' << call << ' ' << when << ' ' << writesSoFar();
    std::error_code error;
    for (const auto &entry : fs::recursive_directory_iterator(kOther / folderName(), error)) {
        if (entry.is_regular_file())
            std::cout << " ~/" << entry.path().lexically_relative(kOther / folderName()).string();
    }
    std::cout << std::endl;
    char go;
    must(::read(STDIN_FILENO, &go, 1) == 1, "hear from the host");
    plan->atCall = atCall;
}

std::string resolved(std::string text)
{
    for (std::size_t at; (at = text.find('~')) != std::string::npos;)
        text.replace(at, 1, kOther / folderName());
    return text;
}

void record()
{
    mountAt(kDisk, "/dev/ubda", setting("TYPE"), setting("OPTIONS"));
    mountAt(kOther, "tmpfs", "tmpfs", "");
    Plan own = {};
    plan = &own;
    plan->lacking = setting("SYNCS") == "0" ? Syncs : 0;
    const unsigned seed = unsigned(std::stoul(setting("SEED")));
    chance.seed(seed);
    for (const auto &[before, command] : kOperations) {
        fs::create_directories(kDisk / folderName());
        fs::create_directories(kOther / folderName());
        fs::current_path(kDisk / folderName());
        std::cout << "\npower: operation " << number << ' ' << command << '\n';
        std::istringstream words(before);
        std::size_t size = seed + number;
        for (std::string word; words >> word; ++size) {
            const fs::path file = resolved(word);
            const std::string tag = folderName() + "/" + word + ":" + std::to_string(kSizes[size % 3]);
            if (file.has_parent_path())
                fs::create_directories(file.parent_path());
            std::ofstream(file) << contentOf(tag);
            std::cout << "power: file " << number << ' ' << word << ' ' << tag << '\n';
        }
        ::sync();
        plan->atCall = halt;
        const bool isDone = run(QString::fromStdString(resolved(command)));
        plan->atCall = nullptr;
        must(isDone, command);
        for (int i = 0; i < (seed == 0 ? 1 : 3); ++i)
            halt("return", "true");
        ++number;
    }
}

/// A folder that cannot be read any more ends nothing but itself.
// NOLINTNEXTLINE(misc-no-recursion): as deep as the trees above
void tellFolder(const fs::path &folder, std::ostream &told)
{
    std::error_code error;
    for (fs::directory_iterator i(folder, error), end; i != end; i.increment(error)) {
        if (i->is_regular_file(error))
            told << i->path().lexically_relative(kDisk).string() << ' ' << tagOf(i->path()) << '\n';
        else if (i->is_directory(error) && !i->is_symlink(error))
            tellFolder(i->path(), told);
    }
}

void tell(const std::string &image, std::ostream &told)
{
    told << "image " << image << '\n';
    const int control = ::open("/dev/loop-control", O_RDWR | O_CLOEXEC);
    const std::string device = "/dev/loop" + std::to_string(::ioctl(control, LOOP_CTL_GET_FREE));
    const int loop = ::open(device.c_str(), O_RDWR | O_CLOEXEC),
              file = ::open(image.c_str(), O_RDWR | O_CLOEXEC);
    must(loop >= 0 && file >= 0 && ::ioctl(loop, LOOP_SET_FD, file) == 0, "attach " + image);
    fs::create_directories(kDisk);
    if (::mount(device.c_str(), kDisk.c_str(), setting("TYPE").c_str(), MS_NOATIME,
                setting("OPTIONS").c_str()) == 0) {
        tellFolder(kDisk, told);
        must(::umount(kDisk.c_str()) == 0, "unmount");
    } else {
        told << "unmountable " << strerror(errno) << '\n';
    }
    ::ioctl(loop, LOOP_CLR_FD);
    ::close(loop);
    ::close(file);
    ::close(control);
}

} // namespace

int main(int argc, char **argv)
{
    mountAt("/proc", "proc", "proc", "");
    mountAt("/sys", "sysfs", "sysfs", "");
    mountAt("/mnt", "tmpfs", "tmpfs", "");
    std::istringstream modules(setting("MODULES"));
    for (std::string module; modules >> module;) {
        const int fd = ::open(module.c_str(), O_RDONLY | O_CLOEXEC);
        must(::syscall(SYS_finit_module, fd, "", 0) == 0, "load " + module);
        ::close(fd);
    }
    const QCoreApplication application(argc, argv);
    if (setting("IMAGES").empty()) {
        record();
    } else {
        std::ifstream images(setting("IMAGES"));
        std::ofstream told(setting("TOLD"));
        for (std::string image; std::getline(images, image);)
            tell(image, told);
        told << "end\n" << std::flush;
        fs::current_path("/");
        ::sync();
    }
    powerOff();
}
