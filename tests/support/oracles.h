#ifndef TESCORE_TESTS_ORACLES_H
#define TESCORE_TESTS_ORACLES_H

#include <base/qtcompat_p.h>

#include <QMap>
#include <QPair>
#include <QSet>
#include <QString>
#include <QStringList>

#include <algorithm>

/// Second implementations, as a caller would write them with Qt's own calls. Tests and fuzz targets compare
/// with their results, benchmarks with their time.
namespace Oracle {

/// Looks from the start of the text again after each span.
inline bool remove(QString *text, const QString &opening, const QString &closing)
{
    if (opening.isEmpty() || closing.isEmpty())
        return false;
    for (bool removed = false;; removed = true) {
        const auto begin = text->indexOf(opening);
        const auto end = begin < 0 ? -1 : text->indexOf(closing, begin + 1);
        if (end < 0)
            return removed;
        text->remove(begin, end - begin + closing.size());
    }
}

inline QString simplifyQuotes(const QString &text, const QPair<QChar, QChar> &single,
                              const QPair<QChar, QChar> &twofold, bool *replaced)
{
    QString copy = text;
    *replaced = false;
    for (QChar &c : copy) {
        const bool isDouble = c == twofold.first || c == twofold.second;
        if (!isDouble && c != single.first && c != single.second)
            continue;
        c = QLatin1Char(isDouble ? '"' : '\'');
        *replaced = true;
    }
    return copy;
}

inline QStringList sortCaseInsensitive(const QStringList &list)
{
    QMap<QString, QString> map;
    for (const QString &text : list)
        map.insert(text.toLower(), text);
    return map.values();
}

inline QString convertLineEndings(QString text)
{
    const QString lineFeed = QStringLiteral("\n");
    return text.replace(QLatin1String("\r\n"), lineFeed).replace(QLatin1Char('\r'), lineFeed);
}

/// The first and the last id that a piece of a text of ids names; the first is larger when it names none.
inline QPair<int, int> idRange(const QString &piece)
{
    const QStringView view(piece);
    const auto dash = view.indexOf(QLatin1Char('-'));
    bool firstOk = false, lastOk = dash < 0;
    const int first = TesCoreBase::toInt(dash < 0 ? view : view.left(dash), &firstOk);
    const int last = dash < 0 ? first : TesCoreBase::toInt(view.mid(dash + 1), &lastOk);
    return firstOk && lastOk && first >= 0 ? qMakePair(first, last) : qMakePair(1, 0);
}

inline QSet<int> splitToIds(const QString &text)
{
    QSet<int> ids;
    const QStringList pieces = text.split(QLatin1Char(','));
    for (const QString &piece : pieces) {
        const QPair<int, int> range = idRange(piece);
        for (qint64 id = range.first; id <= range.second; ++id)
            ids.insert(int(id));
    }
    return ids;
}

inline QString toString(const QSet<int> &ids)
{
    auto sorted = ids.values();
    std::sort(sorted.begin(), sorted.end());
    QStringList items;
    for (auto i = 0; i < sorted.size(); ++i) {
        const auto first = i;
        while (i + 1 < sorted.size() && sorted.at(i + 1) == sorted.at(i) + 1)
            ++i;
        items.append(QString::number(sorted.at(first)));
        if (i > first)
            items.last() += QLatin1Char('-') + QString::number(sorted.at(i));
    }
    return items.join(QStringLiteral(", "));
}

} // namespace Oracle

#endif
