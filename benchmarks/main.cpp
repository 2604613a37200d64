// Runs each operation beside what a user would call instead, and prints tables in Markdown.
//
//     bench [--benchmark_filter=REGEX] [--benchmark_repetitions=N]
//
// The filter is matched against "operation, input". BENCH_MEMORY and BENCH_DISK name the folders to work in,
// and BENCH_OTHER_MEMORY one on a second file system in memory.

#include "contest.h"
#include "inputs.h"
#include "resources.h"
#include "rows.h"

#include <TesCore/TESCoreUtil.h>

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QFile>

#include <cstdio>
#include <fstream>

#include <sys/stat.h>

namespace {

std::string folderFrom(const char *variable, const char *fallback)
{
    const char *value = std::getenv(variable);
    return value != nullptr ? value : fallback;
}

void printMemoryOfHash(const Storage &storage)
{
    const std::string path = storage.path("huge");
    std::ofstream(path).close();
    std::filesystem::resize_file(path, 2'000'000'000);
    const PeakMemory peak;
    TESCoreUtil::calcHashSum(QString::fromStdString(path));
    std::printf("\nMemory added by calcHashSum of 2 GB: at most %ld KiB.\n", peak.added() / 1024);
}

} // namespace

int main(int argc, char *argv[])
{
    ::umask(022); // what cp and the files' permissions depend on
    std::vector<std::string> words = {argv[0], "--benchmark_repetitions=9",
                                      "--benchmark_enable_random_interleaving=true"};
    words.insert(words.end(), argv + 1, argv + argc);
    std::vector<char *> arguments;
    arguments.reserve(words.size());
    for (std::string &word : words)
        arguments.push_back(word.data());
    int count = int(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data()))
        return 1;
    QCoreApplication application(argc, argv);

    Table table(benchmark::GetBenchmarkFilter());
    addProcessRows(table); // first: what it costs to start a process grows with the memory in use
    addTextRows(table);
    addIdRows(table);
    const Storage memory(folderFrom("BENCH_MEMORY", "/dev/shm"));
    const Storage disk(folderFrom("BENCH_DISK", "/var/tmp"));
    for (const Storage *storage : {&memory, &disk}) {
        addTreeRows(table, *storage);
        addContentRows(table, *storage);
        addFileMoveRows(table, *storage);
    }
    addMoveAcrossRow(table, memory, disk);
    if (std::getenv("BENCH_OTHER_MEMORY") != nullptr)
        addMoveAcrossRow(table, memory, Storage(std::getenv("BENCH_OTHER_MEMORY")));
    addScaleRows(table, memory);
    std::fputs(table.text().c_str(), stdout);
    printMemoryOfHash(disk);
}
