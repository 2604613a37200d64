#ifndef TESCORE_CHILDPROCESS_P_H
#define TESCORE_CHILDPROCESS_P_H

#include <base/descriptor_p.h>
#include <base/limits_p.h>

#include <QByteArray>
#include <QDeadlineTimer>
#include <QList>

#include <sys/types.h>

namespace TesCoreProcess {

/// How a program ended.
struct End
{
    bool crashed;
    int code; ///< The exit code, or the signal's number.
};

/// One output of a child, collected without blocking.
class Output
{
public:
    /// Makes the pipe; false when the process has no descriptors left.
    bool open();
    /// The end that the child writes to.
    int writeEnd() const { return m_write.get(); }
    void closeWriteEnd() { m_write = TesCoreBase::Descriptor(); }
    /// The end to poll, -1 after end-of-file.
    int readEnd() const { return m_read.get(); }
    /// Reads once, if something is there.
    void read();
    /// Reads what is in the pipe now, and not what a background process goes on writing.
    void readRest();
    /// Whether more came than an array can hold.
    bool isTruncated() const { return m_truncated; }
    /// All that was read.
    QByteArray take();

private:
    using Size = TesCoreBase::SizeOf<QByteArray>;

    ssize_t readUpTo(size_t most);
    bool makeRoom(size_t wanted);

    QByteArray m_bytes; ///< What was read, and room for more.
    Size m_used = 0;
    bool m_truncated = false;
    TesCoreBase::Descriptor m_read;
    TesCoreBase::Descriptor m_write;
};

/// A child in a process group of its own, with end-of-file as its standard input. Not a QProcess: Qt 5 gives
/// the child a group only at the price of a process-wide SIGCHLD handler and of a fork that copies the page
/// tables of the whole application, and Qt 6.4 leaks a descriptor at each failed start.
class ChildProcess
{
public:
    ChildProcess() = default;
    ~ChildProcess();
    Q_DISABLE_COPY(ChildProcess)

    /// Starts `program` (a path) in `folder` (empty for the current one). True once the program itself runs.
    bool start(const QByteArray &program, const QList<QByteArray> &arguments, const QByteArray &folder);

    /// Collects the output until the program ends; false when the time is over first.
    bool waitForEnd(QDeadlineTimer deadline);

    /// Asks the program to end, kills it at once with everything that it started, and waits for its end.
    void kill();

    End end = {false, 0};
    Output output;
    Output errors;

private:
    bool reap(int options);

    pid_t m_pid = 0; ///< 0 when nothing runs that is still to be waited for.
    TesCoreBase::Descriptor m_ended;
};

} // namespace TesCoreProcess

#endif
