#include "fuzz.h"

#include <TesCore/TESCoreUtil.h>
#include <TesCore/TESQuote.h>

#include <QMap>
#include <QUrl>

namespace {

bool removeLiterally(QString *text, const QString &opening, const QString &closing)
{
    bool isRemoved = false;
    while (!opening.isEmpty() && !closing.isEmpty()) {
        const auto begin = text->indexOf(opening);
        const auto end = begin < 0 ? begin : text->indexOf(closing, begin + 1);
        if (end < 0)
            break;
        text->remove(begin, end - begin + closing.size());
        isRemoved = true;
    }
    return isRemoved;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    Fields fields(data, size);
    const QString text = fields.text();
    const QString a = fields.text();
    const QString b = fields.text();

    QString ours = text, literal = text;
    require(TESCoreUtil::Remove(&ours, a, b) == removeLiterally(&literal, a, b) && ours == literal);

    const auto found = text.indexOf(a);
    require(TESCoreUtil::ReplaceFirst(a, b, text) ==
            (found < 0 ? text : text.left(found) + b + text.mid(found + a.size())));
    require(TESCoreUtil::URLDecodePath(text) == QUrl::fromPercentEncoding(text.toUtf8()));
    if (isWellFormed(text))
        require(TESCoreUtil::URLDecodePath(TESCoreUtil::URLEncodePath(text)) == text);

    const QPair<QChar, QChar> single(a.isEmpty() ? QChar() : a.front(), a.isEmpty() ? QChar() : a.back());
    const QPair<QChar, QChar> twofold(b.isEmpty() ? QChar() : b.front(), b.isEmpty() ? QChar() : b.back());
    bool replaced = false, expected = false;
    QString straight = text;
    for (QChar &unit : straight) {
        const bool isDouble = unit == twofold.first || unit == twofold.second;
        if (!isDouble && unit != single.first && unit != single.second)
            continue;
        unit = QLatin1Char(isDouble ? '"' : '\'');
        expected = true;
    }
    require(TESQuote::simplifyQuotes(text, single, twofold, &replaced) == straight && replaced == expected);

    QMap<QString, QString> sorted;
    const QStringList words = text.split(QLatin1Char(' '));
    for (const QString &word : words)
        sorted.insert(word.toLower(), word);
    require(TESCoreUtil::SortCaseInsensitive(words) == QStringList(sorted.values()));
    TESCoreUtil::Substring(fields.number(), fields.number(), text);
    return 0;
}
