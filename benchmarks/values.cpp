#include "contest.h"
#include "rows.h"

#include <TesCore/TCoreType.h>
#include <TesCore/TESProcess.h>

#include <QProcess>
#include <QSet>

#include <algorithm>
#include <random>

namespace {

constexpr int idCount = 1'000'000;

QSet<int> setOf(const std::vector<int> &ids)
{
    QSet<int> set;
    set.reserve(int(ids.size()));
    for (const int id : ids)
        set.insert(id);
    return set;
}

QSet<int> someIds(int largest)
{
    std::mt19937 random(4);
    std::uniform_int_distribution<int> id(0, largest);
    QSet<int> ids;
    while (ids.size() < idCount)
        ids.insert(id(random));
    return ids;
}

std::vector<int> sortedIds(const QSet<int> &ids)
{
    std::vector<int> sorted(ids.begin(), ids.end());
    std::sort(sorted.begin(), sorted.end());
    return sorted;
}

QString qtToString(const QSet<int> &ids)
{
    const std::vector<int> sorted = sortedIds(ids);
    QStringList items;
    for (std::size_t i = 0; i < sorted.size(); ++i) {
        const std::size_t first = i;
        while (i + 1 < sorted.size() && sorted[i + 1] == sorted[i] + 1)
            ++i;
        items.append(QString::number(sorted[first]));
        if (i > first)
            items.last() += QLatin1Char('-') + QString::number(sorted[i]);
    }
    return items.join(QStringLiteral(", "));
}

void addIds(Table &table, const std::string &input, int largest)
{
    table.add({"toString", input, 1.05}, [=] {
        const QSet<int> ids = someIds(largest);
        return Contest{{{"ours", [=] { return TCoreType::toString(ids); }},
                        {"sorting them", [=] { return sortedIds(ids), Result(); }},
                        {"Qt", [=] { return qtToString(ids); }}}};
    });
    table.add({"splitToIds", input, 1.05}, [=] {
        const std::vector<int> ids = sortedIds(someIds(largest));
        const QString text = qtToString(setOf(ids));
        return Contest{{{"ours", [=] { return TCoreType::splitToIds(text); }},
                        {"inserting them", [=] { return setOf(ids); }}}};
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
    addIds(table, "a million ids below ten million", 10 * idCount);
    addIds(table, "a million ids in long runs", idCount + idCount / 10);
}

void addProcessRows(Table &table)
{
    table.add({"executeProcess", "true", 1.05}, [] {
        const auto ours = [] { return TESProcess::executeProcess(QStringLiteral("true"), -1).exitCode; };
        return Contest{{{"ours", ours}, {"QProcess", qtExecute}}, [] {}, [] {}, 50};
    });
}
