#include "childprocess_p.h"

#include "killprocesstree_p.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <limits>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace TesCoreProcess {

using TesCoreBase::Descriptor;
using TesCoreBase::retrying;

namespace {

/// The two parameter objects of posix_spawn.
struct SpawnSettings
{
    SpawnSettings()
    {
        posix_spawn_file_actions_init(&actions);
        posix_spawnattr_init(&attributes);
    }
    ~SpawnSettings()
    {
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
    }
    Q_DISABLE_COPY(SpawnSettings)

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
};

/// Its own group, so that all of it can be killed; and SIGPIPE as a program expects it, whatever the
/// application made of it.
void setAttributes(posix_spawnattr_t *attributes)
{
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigdefault(attributes, &defaults);
    posix_spawnattr_setpgroup(attributes, 0);
    posix_spawnattr_setflags(attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
}

std::vector<char *> pointers(const QByteArray &program, const QList<QByteArray> &arguments)
{
    // posix_spawn takes what it does not write to as char *.
    const auto pointer = [](const QByteArray &text) { return const_cast<char *>(text.constData()); };
    std::vector<char *> all{pointer(program)};
    std::transform(arguments.begin(), arguments.end(), std::back_inserter(all), pointer);
    all.push_back(nullptr);
    return all;
}

} // namespace

bool Output::open()
{
    std::array<int, 2> ends;
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        return false;
    m_read = Descriptor(ends[0]);
    m_write = Descriptor(ends[1]);
    return ::fcntl(ends[0], F_SETFL, O_NONBLOCK) == 0;
}

ssize_t Output::readUpTo(size_t most)
{
    std::array<char, 65536> dropped;
    const bool full = !makeRoom(dropped.size());
    char *target = full ? dropped.data() : m_bytes.data() + m_used;
    const size_t room = full ? dropped.size() : size_t(m_bytes.size() - m_used);
    const ssize_t count = retrying([&] { return ::read(m_read.get(), target, std::min(most, room)); });
    if (count > 0 && full)
        m_truncated = true;
    else if (count > 0)
        m_used += Size(count);
    return count;
}

bool Output::makeRoom(size_t wanted)
{
    constexpr qint64 most = TesCoreBase::maxSize<QByteArray>();
    const qint64 size = m_bytes.size();
    // Grown here, by doubling: QByteArray::append() of Qt 6 copies where resize() lets the kernel move pages.
    if (size - m_used < qint64(wanted))
        m_bytes.resize(Size(std::min(most, size < most / 2 ? 2 * size + qint64(wanted) : most)));
    return m_bytes.size() > m_used;
}

QByteArray Output::take()
{
    m_bytes.resize(std::exchange(m_used, 0));
    if (m_bytes.capacity() > 2 * qint64(m_bytes.size()))
        m_bytes.squeeze();
    return std::exchange(m_bytes, QByteArray());
}

void Output::read()
{
    const ssize_t count = readUpTo(std::numeric_limits<size_t>::max());
    if (count == 0 || (count < 0 && errno != EAGAIN))
        m_read = Descriptor();
}

void Output::readRest()
{
    int left = 0;
    if (!m_read.isOpen() || ::ioctl(m_read.get(), FIONREAD, &left) != 0)
        return;
    while (left > 0) {
        const ssize_t count = readUpTo(size_t(left));
        if (count <= 0)
            return;
        left -= int(count);
    }
}

ChildProcess::~ChildProcess()
{
    kill();
}

bool ChildProcess::start(const QByteArray &program, const QList<QByteArray> &arguments,
                         const QByteArray &folder)
{
    if (!output.open() || !errors.open())
        return false;
    SpawnSettings settings;
    setAttributes(&settings.attributes);
    posix_spawn_file_actions_addopen(&settings.actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&settings.actions, output.writeEnd(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&settings.actions, errors.writeEnd(), STDERR_FILENO);
    if (!folder.isEmpty())
        posix_spawn_file_actions_addchdir_np(&settings.actions, folder.constData());

    const std::vector<char *> all = pointers(program, arguments);
    if (::posix_spawn(&m_pid, program.constData(), &settings.actions, &settings.attributes, all.data(),
                      environ) != 0) {
        m_pid = 0;
        return false;
    }
    output.closeWriteEnd();
    errors.closeWriteEnd();
    m_ended = Descriptor(int(::syscall(SYS_pidfd_open, m_pid, 0)));
    return true;
}

bool ChildProcess::waitForEnd(QDeadlineTimer deadline)
{
    // Kernels before 5.3 cannot wake us at the program's end: look for it now and then.
    constexpr qint64 glance = 10;
    constexpr qint64 longest = std::numeric_limits<int>::max();
    const qint64 slice = m_ended.isOpen() ? longest : glance;
    for (;;) {
        const qint64 left = deadline.isForever() ? slice : std::min(slice, deadline.remainingTime());
        std::array<pollfd, 3> waiting{
            {{output.readEnd(), POLLIN, 0}, {errors.readEnd(), POLLIN, 0}, {m_ended.get(), POLLIN, 0}}};
        ::poll(waiting.data(), waiting.size(), int(left));
        if (waiting[0].revents != 0)
            output.read();
        if (waiting[1].revents != 0)
            errors.read();
        if ((waiting[2].revents != 0 || !m_ended.isOpen()) && reap(WNOHANG)) {
            output.readRest();
            errors.readRest();
            return true;
        }
        if (deadline.hasExpired())
            return false;
    }
}

bool ChildProcess::reap(int options)
{
    int status = 0;
    const pid_t ended = retrying([&] { return ::waitpid(m_pid, &status, options); });
    if (ended == 0)
        return false;
    m_pid = 0;
    // An application that ignores SIGCHLD, or reaps for itself, leaves no status: that must not look like
    // success.
    if (ended < 0)
        end = {true, 0};
    else
        end = WIFSIGNALED(status) ? End{true, WTERMSIG(status)} : End{false, WEXITSTATUS(status)};
    return true;
}

void ChildProcess::kill()
{
    if (m_pid == 0)
        return;
    killProcessTree(m_pid);
    // A program that became another user's cannot be killed, and waiting for its end could take forever.
    const TesCoreBase::Result reached = TesCoreBase::Result::of(::kill(m_pid, 0));
    reap(reached.error() == EPERM ? WNOHANG : 0);
    m_pid = 0;
}

} // namespace TesCoreProcess
