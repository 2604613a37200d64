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
    bool isPeer = true; // else it stands beside, and no ratio is taken against it
    std::vector<double> wall = {};
    std::vector<double> processor = {};
    long memory = 0; // bytes added at most
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
    double target = 0;    // ours / best peer; 0 for none
    int files = 0;        // how many files one run handles; 0 where system calls do not matter
    int runs = 0;         // 0: as many as were asked for. A single one is not preceded by one that warms up
    bool isScale = false; // one of several that differ in `files` alone: what counts is how the ratio grows
};

/// The table. Rows whose operation or input does not match the filter are not even set up.
class Table
{
public:
    explicit Table(const std::string &filter) : m_filter(filter) {}

    /// What `contest` makes and holds goes when the row is done.
    void add(const Row &row, const std::function<Contest()> &contest);

    /// Everything measured so far as tables in Markdown: the ratios, the scale, the details.
    std::string text() const;

private:
    /// Seconds.
    struct Time
    {
        double ours = 0;
        double best = 0;

        double ratio() const { return ours / best; }
    };

    struct Measured
    {
        Row row;
        std::string best; // which peer
        Time wall;
        Time processor;
        std::string peers; // name and milliseconds of each
        std::string calls;
        std::string callsOfBest;
        double memory = 0; // bytes added by ours
    };

    std::string ratios() const;
    std::string scale() const;
    std::string details() const;

    const std::string m_filter;
    std::vector<Measured> m_rows;
};

#endif
