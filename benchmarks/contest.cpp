#include "contest.h"

#include "systemcalls.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <regex>

#include <sys/resource.h>

namespace {

/// Google Benchmark decides when which contender runs; the figures go into the one table instead of a list.
class Silent : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context &) override { return true; }
    void ReportRuns(const std::vector<Run> &) override {}
};

double secondsOf(clockid_t clock)
{
    timespec time;
    ::clock_gettime(clock, &time);
    return double(time.tv_sec) + double(time.tv_nsec) * 1e-9;
}

double processorSeconds()
{
    rusage children;
    ::getrusage(RUSAGE_CHILDREN, &children);
    return secondsOf(CLOCK_PROCESS_CPUTIME_ID) + double(children.ru_utime.tv_sec + children.ru_stime.tv_sec) +
           double(children.ru_utime.tv_usec + children.ru_stime.tv_usec) * 1e-6;
}

double median(std::vector<double> values)
{
    const auto middle = values.begin() + std::ptrdiff_t(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

std::string number(double value, int decimals)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

std::string milliseconds(const std::vector<double> &seconds)
{
    const double ms = median(seconds) * 1000;
    return number(ms, ms < 10 ? 2 : ms < 100 ? 1 : 0);
}

std::string callsPerFile(const Row &row, const Contest &contest, const Contender &contender)
{
    if (row.files == 0)
        return "";
    contest.prepare();
    const long calls = countSystemCalls([&] { contender.job(); });
    return calls < 0 ? "?" : number(double(calls) / row.files, 1);
}

/// Runs the job once, times it and checks what came of it. The seconds that it took.
double runOnce(const Row &row, const Contest &contest, Contender &contender, Result &expected)
{
    contest.prepare();
    const double wall = secondsOf(CLOCK_MONOTONIC), processor = processorSeconds();
    for (int i = 1; i < contest.runsPerLap; ++i)
        contender.job();
    const Result result = contender.job();
    contender.wall.push_back((secondsOf(CLOCK_MONOTONIC) - wall) / contest.runsPerLap);
    contender.processor.push_back((processorSeconds() - processor) / contest.runsPerLap);
    if (!std::holds_alternative<std::monostate>(result)) {
        if (std::holds_alternative<std::monostate>(expected))
            expected = result;
        if (result != expected)
            fail(row.operation + ", " + row.input + ": \"" + contender.name + "\" gives another result");
        contest.check();
    }
    return contender.wall.back();
}

void runInterleaved(const Row &row, Contest &contest)
{
    Result expected;
    benchmark::ClearRegisteredBenchmarks();
    for (Contender &contender : contest.contenders) {
        runOnce(row, contest, contender, expected); // caches get warm
        contender.wall.clear();
        contender.processor.clear();
        benchmark::RegisterBenchmark(contender.name.c_str(),
                                     [&](benchmark::State &state) {
                                         for (auto _ : state)
                                             state.SetIterationTime(
                                                 runOnce(row, contest, contender, expected));
                                     })
            ->Iterations(1)
            ->UseManualTime();
    }
    Silent reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter, ".");
}

std::string lineOf(const std::vector<std::string> &cells)
{
    std::string line;
    for (const std::string &cell : cells)
        line += "| " + cell + ' ';
    return line + "|\n";
}

} // namespace

void fail(const std::string &what)
{
    std::fprintf(stderr, "WRONG: %s\n", what.c_str());
    std::abort();
}

void Table::add(const Row &row, const std::function<Contest()> &makeContest)
{
    if (!std::regex_search(row.operation + ", " + row.input, std::regex(m_filter)))
        return;
    Contest contest = makeContest();
    runInterleaved(row, contest);
    for (const Contender &contender : contest.contenders)
        std::fprintf(stderr, "%s: %s ms, %s ms of processor time\n", contender.name.c_str(),
                     milliseconds(contender.wall).c_str(), milliseconds(contender.processor).c_str());

    const auto isFaster = [](const Contender &a, const Contender &b) {
        return median(a.wall) < median(b.wall);
    };
    const auto &all = contest.contenders;
    const Contender &ours = all.front();
    const Contender &best = *std::min_element(all.begin() + 1, all.end(), isFaster);
    const double ratio = median(ours.wall) / median(best.wall);
    const std::string mark = row.target > 0 && ratio > row.target ? " (missed)" : "";
    const std::string line =
        lineOf({row.operation, row.input, milliseconds(ours.wall), milliseconds(best.wall), best.name,
                number(ratio, 2) + mark, row.target > 0 ? number(row.target, 2) : "",
                number(median(ours.processor) / median(best.processor), 2), callsPerFile(row, contest, ours),
                callsPerFile(row, contest, best)});
    std::fputs(line.c_str(), stderr); // long before the table is complete
    m_lines += line;
}

std::string Table::text() const
{
    return lineOf({"Operation", "Input", "Ours, ms", "Best peer, ms", "Best peer", "Ratio", "Target",
                   "Ratio of processor time", "System calls per file, ours", "the same, peer"}) +
           lineOf(std::vector<std::string>(10, "---")) + m_lines;
}
