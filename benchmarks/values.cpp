#include "contest.h"
#include "rows.h"

#include <TesCore/TCoreType.h>
#include <TesCore/TESProcess.h>

#include <QProcess>
#include <QSet>

#include <support/oracles.h>

#include <random>

namespace {

constexpr int idCount = 1'000'000;

QSet<int> someIds(int largest)
{
    std::mt19937 random(4);
    std::uniform_int_distribution<int> id(0, largest);
    QSet<int> ids;
    while (ids.size() < idCount)
        ids.insert(id(random));
    return ids;
}

void addIds(Table &table, const std::string &input, int largest, double targetOfToString)
{
    table.add({"toString", input, targetOfToString}, [=] {
        const QSet<int> ids = someIds(largest);
        return Contest{{{"ours", [=] { return TCoreType::toString(ids); }},
                        {"sort, join", [=] { return Oracle::toString(ids); }}}};
    });
    table.add({"splitToIds", input, 0.75}, [=] {
        const QString text = Oracle::toString(someIds(largest));
        return Contest{{{"ours", [=] { return TCoreType::splitToIds(text); }},
                        {"split, toInt, insert", [=] { return Oracle::splitToIds(text); }}}};
    });
}

int qtExecute()
{
    QProcess process;
    process.start(QStringLiteral("true"), QStringList(), QIODevice::ReadOnly);
    process.waitForFinished(-1);
    return process.exitCode();
}

} // namespace

void addIdRows(Table &table)
{
    addIds(table, "a million ids below ten million", 10 * idCount, 0.85);
    // Walking the set is 0.82 of what the peer does.
    addIds(table, "a million ids in long runs", idCount + idCount / 10, 0.9);
}

void addProcessRows(Table &table)
{
    table.add({"executeProcess", "true", 1.05}, [] {
        const auto ours = [] { return TESProcess::executeProcess(QStringLiteral("true"), -1).exitCode; };
        return Contest{{{"ours", ours}, {"QProcess", qtExecute}}, [] {}, [] {}, 50};
    });
}
