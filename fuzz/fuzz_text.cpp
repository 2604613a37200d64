#include "fuzz.h"

#include <TesCore/TESCoreUtil.h>
#include <TesCore/TESQuote.h>

#include <QUrl>

#include <support/oracles.h>

void check(Fields fields)
{
    const QString text = fields.text(), a = fields.text(), b = fields.text();

    QString ours = text, literal = text;
    require(TESCoreUtil::Remove(&ours, a, b) == Oracle::remove(&literal, a, b) && ours == literal);

    const auto found = text.indexOf(a);
    require(TESCoreUtil::ReplaceFirst(a, b, text) ==
            (found < 0 ? text : text.left(found) + b + text.mid(found + a.size())));
    require(TESCoreUtil::URLDecodePath(text) == QUrl::fromPercentEncoding(text.toUtf8()));
    if (isWellFormed(text))
        require(TESCoreUtil::URLDecodePath(TESCoreUtil::URLEncodePath(text)) == text);

    const QPair<QChar, QChar> single(a.isEmpty() ? QChar() : a.front(), a.isEmpty() ? QChar() : a.back());
    const QPair<QChar, QChar> twofold(b.isEmpty() ? QChar() : b.front(), b.isEmpty() ? QChar() : b.back());
    bool replaced = false, expected = false;
    const QString straight = Oracle::simplifyQuotes(text, single, twofold, &expected);
    require(TESQuote::simplifyQuotes(text, single, twofold, &replaced) == straight && replaced == expected);

    const QStringList words = text.split(QLatin1Char(' '));
    require(TESCoreUtil::SortCaseInsensitive(words) == Oracle::sortCaseInsensitive(words));
    TESCoreUtil::Substring(fields.number(), fields.number(), text);
}
