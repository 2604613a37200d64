#ifndef TESCORE_BENCHMARKS_CONTEST_H
#define TESCORE_BENCHMARKS_CONTEST_H

#include <QByteArray>
#include <QSet>
#include <QStringList>

#include <functional>
#include <string>
#include <variant>
#include <vector>

/// Ends the program: nothing that is measured after a wrong result would mean anything.
[[noreturn]] void fail(const std::string &what);

/// What a job returns. All contenders of a row must return the same; one that returns nothing is a bound, the
/// unavoidable part of the job.
using Result = std::variant<std::monostate, bool, int, QString, QStringList, QByteArray, QSet<int>>;

/// One way to do the job of a row. The processors' time includes that of the programs that the job starts;
/// other work on the machine disturbs it less than the time on the wall.
struct Contender
{
    std::string name;
    std::function<Result()> job;
    std::vector<double> wall = {};
    std::vector<double> processor = {};
};

struct Contest
{
    std::vector<Contender> contenders;     // the first is the library
    std::function<void()> prepare = [] {}; // before each run, not timed
    std::function<void()> check = [] {};   // after each run, not timed
    int runsPerLap = 1;                    // short jobs are timed together
};

/// One row of the table.
struct Row
{
    std::string operation;
    std::string input;
    double target = 0; // ours / best peer; 0 for none
    int files = 0;     // how many files one run handles; 0 where system calls do not matter
};

/// The table. Rows whose operation or input does not match the filter are not even set up.
class Table
{
public:
    explicit Table(const std::string &filter) : m_filter(filter) {}

    /// What `contest` makes and holds goes when the row is done.
    void add(const Row &row, const std::function<Contest()> &contest);

    /// The table in Markdown.
    std::string text() const;

private:
    const std::string m_filter;
    std::string m_lines;
};

#endif
