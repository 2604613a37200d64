// Whether the first dates that a process reads are right when several threads read them at once: many times
// over, each in a process of its own, forked from one that has read none.
#include <TesCore/TESCoreUtil.h>

#include <atomic>
#include <cstdio>
#include <thread>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int processes = 300;
constexpr int threads = 8;

bool readDates()
{
    std::atomic<int> waiting{threads};
    std::atomic<int> right{0};
    const auto read = [&] {
        for (--waiting; waiting > 0;)
            std::this_thread::yield();
        right += TESCoreUtil::convertCompileStringDate(QStringLiteral("Nov 5 2013")) == QDate(2013, 11, 5);
    };
    std::vector<std::thread> readers;
    readers.reserve(threads);
    for (int i = 0; i < threads; ++i)
        readers.emplace_back(read);
    for (std::thread &reader : readers)
        reader.join();
    return right == threads;
}

} // namespace

int main()
{
    int wrong = 0;
    for (int i = 0; i < processes; ++i) {
        const pid_t child = ::fork();
        if (child == 0)
            ::_exit(readDates() ? 0 : 1);
        int status = -1;
        wrong += ::waitpid(child, &status, 0) != child || status != 0;
    }
    std::printf("%d of %d processes read a wrong date\n", wrong, processes);
    return wrong > 0;
}
