#include "killprocesstree_p.h"

#include <QByteArrayList>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>

#include <algorithm>
#include <csignal>
#include <vector>

#include <sched.h>
#include <unistd.h>

namespace TesCoreProcess {

namespace {

/// What the kernel tells in the file `name` of each thread of a process.
QByteArrayList ofThreads(pid_t process, QLatin1String name)
{
    const QDir threads(QStringLiteral("/proc/%1/task").arg(process));
    const QStringList ids = threads.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Unsorted);
    QByteArrayList contents;
    for (const QString &id : ids) {
        QFile file(threads.filePath(id + QLatin1Char('/') + name));
        if (file.open(QIODevice::ReadOnly))
            contents.append(file.readAll());
    }
    return contents;
}

/// Whether every thread of a process is stopped or dead.
bool isStopped(pid_t process)
{
    const QByteArrayList stats = ofThreads(process, QLatin1String("stat"));
    return std::all_of(stats.begin(), stats.end(), [](const QByteArray &stat) {
        // The letter of the state stands behind the name, which may hold anything.
        const QByteArray state = stat.mid(stat.lastIndexOf(')') + 2, 1);
        return QByteArrayLiteral("TtZX").contains(state);
    });
}

/// Stops a process and waits until it has stopped: a fork that is under way in the kernel comes to its end
/// first. Not for ever, since a thread can be held up there.
void stop(pid_t process)
{
    constexpr qint64 patience = 100;
    if (::kill(process, SIGSTOP) != 0)
        return;
    for (const QDeadlineTimer deadline(patience); !isStopped(process) && !deadline.hasExpired();)
        ::usleep(100);
}

/// Stops the processes in `all` and their descendants, which are appended, children behind their parents.
/// Each is stopped before its children are read, so that it can neither start others meanwhile nor let go of
/// the number of one that died.
void stopTree(std::vector<pid_t> &all)
{
    for (size_t i = 0; i < all.size(); ++i) {
        stop(all[i]);
        // Each thread has its own children; each number has a blank behind it.
        const QByteArrayList children = ofThreads(all[i], QLatin1String("children")).join().split(' ');
        for (const QByteArray &child : children) {
            const pid_t pid = child.toInt();
            if (pid != 0 && std::find(all.begin(), all.end(), pid) == all.end())
                all.push_back(pid);
        }
    }
}

} // namespace

void killProcessTree(pid_t leader)
{
    // Stopped and counted before it is asked to end: a program that does so lets go of its children.
    std::vector<pid_t> tree{leader};
    stopTree(tree);
    ::kill(leader, SIGTERM);
    ::kill(leader, SIGCONT);
    ::sched_yield(); // on a busy machine it would not get its moment else
    // It may have used the moment to start others. And when it ends, the kernel lets its children go on.
    stopTree(tree);
    // Children before their parents, so that no number is free to be used anew before its turn comes.
    std::for_each(tree.rbegin(), tree.rend(), [](pid_t process) { ::kill(process, SIGKILL); });
    ::kill(-leader, SIGKILL);
}

} // namespace TesCoreProcess
