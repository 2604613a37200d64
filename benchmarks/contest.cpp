#include "contest.h"

#include "resources.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <optional>
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

/// Three digits that matter.
std::string rounded(double value)
{
    return number(value, value < 10 ? 2 : value < 100 ? 1 : 0);
}

std::string milliseconds(const std::vector<double> &seconds)
{
    return rounded(median(seconds) * 1000);
}

std::string checked(double value, double target)
{
    const std::string text = value < 0.001 ? "<0.001" : number(value, value < 0.1 ? 3 : 2);
    return text + (target > 0 && value > target ? " (missed)" : "");
}

std::string callsPerFile(const Row &row, const Contest &contest, const Contender &contender)
{
    if (row.files == 0 || row.isScale)
        return "";
    contest.prepare();
    const long calls = countSystemCalls([&] { contender.job(); });
    return calls < 0 ? "?" : number(double(calls) / row.files, 1);
}

/// Runs the job once, times it and checks what came of it. The seconds that it took.
double runOnce(const Row &row, const Contest &contest, Contender &contender, Result &expected)
{
    contest.prepare();
    std::optional<PeakMemory> peak;
    if (row.isScale)
        peak.emplace();
    const double wall = secondsOf(CLOCK_MONOTONIC), processor = processorSeconds();
    for (int i = 1; i < contest.runsPerLap; ++i)
        contender.job();
    const Result result = contender.job();
    contender.wall.push_back((secondsOf(CLOCK_MONOTONIC) - wall) / contest.runsPerLap);
    contender.processor.push_back((processorSeconds() - processor) / contest.runsPerLap);
    if (peak)
        contender.memory = std::max(contender.memory, peak->added());
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
    for (Contender &contender : contest.contenders)
        runOnce(row, contest, contender, expected);
    if (row.runs == 1)
        return;
    benchmark::ClearRegisteredBenchmarks();
    for (Contender &contender : contest.contenders) {
        contender.wall.clear(); // that run made the caches warm
        contender.processor.clear();
        auto *const laps = benchmark::RegisterBenchmark(contender.name.c_str(), [&](benchmark::State &state) {
            for (auto _ : state)
                state.SetIterationTime(runOnce(row, contest, contender, expected));
        });
        laps->Iterations(1)->UseManualTime();
        if (const int runs = contender.isPeer ? row.runs : 3; runs > 0)
            laps->Repetitions(runs);
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

std::string headOf(const std::vector<std::string> &cells)
{
    return lineOf(cells) + lineOf(std::vector<std::string>(cells.size(), "---"));
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

    const auto time = row.isScale ? &Contender::processor : &Contender::wall;
    const auto isBetter = [&](const Contender &a, const Contender &b) {
        return a.isPeer != b.isPeer ? a.isPeer : median(a.*time) < median(b.*time);
    };
    const auto &all = contest.contenders;
    const Contender &ours = all.front();
    const Contender &best = *std::min_element(all.begin() + 1, all.end(), isBetter);
    Measured measured;
    measured.row = row;
    measured.best = best.name;
    measured.wall = {median(ours.wall), median(best.wall)};
    measured.processor = {median(ours.processor), median(best.processor)};
    for (auto peer = all.begin() + 1; peer != all.end(); ++peer)
        measured.peers += (measured.peers.empty() ? "" : "; ") + peer->name + ": " + milliseconds(peer->wall);
    measured.calls = callsPerFile(row, contest, ours);
    measured.callsOfBest = callsPerFile(row, contest, best);
    measured.memory = double(ours.memory);
    m_rows.push_back(measured);
    std::fprintf(stderr, "%s, %s: %s\n", row.operation.c_str(), row.input.c_str(),
                 checked(measured.wall.ratio(), row.target).c_str()); // long before the table is complete
}

std::string Table::ratios() const
{
    std::string lines = headOf({"Operation", "Input", "Ratio", "Target", "Ours, ms"});
    for (const Measured &each : m_rows)
        if (!each.row.isScale)
            lines += lineOf({each.row.operation, each.row.input, checked(each.wall.ratio(), each.row.target),
                             each.row.target > 0 ? number(each.row.target, 2) : "",
                             rounded(each.wall.ours * 1000)});
    return lines;
}

std::string Table::scale() const
{
    // In memory the processors do all of it, and other work on the machine disturbs a single run less.
    std::string lines = headOf({"Operation", "Input", "Ours, µs per file", "Best peer, µs per file",
                                "Best peer", "Ratio", "Growth", "Bytes per file"});
    std::map<std::string, double> smallest; // the ratio at the smallest number of files
    for (const Measured &each : m_rows) {
        if (!each.row.isScale)
            continue;
        const auto [first, isFirst] = smallest.try_emplace(each.row.operation, each.processor.ratio());
        const double perFile = 1e6 / each.row.files;
        lines +=
            lineOf({each.row.operation, each.row.input, rounded(each.processor.ours * perFile),
                    rounded(each.processor.best * perFile), each.best, checked(each.processor.ratio(), 0),
                    isFirst ? "" : checked(each.processor.ratio() / first->second, each.row.target),
                    number(each.memory / each.row.files, 0)});
    }
    return lines;
}

std::string Table::details() const
{
    std::string lines = headOf({"Operation", "Input", "Peers, ms", "Ratio of processor time",
                                "System calls per file, ours", "the same, best peer"});
    for (const Measured &each : m_rows)
        lines += lineOf({each.row.operation, each.row.input, each.peers, checked(each.processor.ratio(), 0),
                         each.calls, each.callsOfBest});
    return lines;
}

std::string Table::text() const
{
    return ratios() + '\n' + scale() + '\n' + details();
}
