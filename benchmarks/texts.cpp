#include "contest.h"
#include "inputs.h"
#include "rows.h"

#include <TesCore/TESCoreUtil.h>
#include <TesCore/TESQuote.h>

#include <support/oracles.h>

#include <algorithm>
#include <random>

namespace {

using Pair = QPair<QChar, QChar>;

const QString lf = QStringLiteral("\n");

// The loops that a caller would write, where Oracle has none.

bool loopIsUnicode(const QString &text)
{
    return std::any_of(text.begin(), text.end(), [](QChar c) { return c.unicode() >= 128; });
}

/// Not inlined, as a function of a shared library cannot be.
[[gnu::noinline]] bool loopIsOpenQuote(const QChar &c)
{
    const char16_t u = c.unicode();
    if (u < u'«')
        return u == u'"' || u == u'\'' || u == u'`';
    return u == u'«' || u == u'»' || (u >= u'‘' && u <= u'‟') || u == u'‹' || u == u'›' || u == u'「' ||
           u == u'『';
}

template <typename Test>
int count(const QString &text, Test isMark)
{
    int marks = 0;
    for (const QChar &c : text)
        marks += isMark(c);
    return marks;
}

/// Serves where removing a span cannot make a new one.
QString loopRemove(const QString &text, const QString &opening, const QString &closing)
{
    QString kept;
    kept.reserve(text.size());
    int from = 0;
    for (;;) {
        const int start = int(text.indexOf(opening, from));
        const int end = start < 0 ? -1 : int(text.indexOf(closing, start + 1));
        if (end < 0)
            return kept.append(text.constData() + from, text.size() - from);
        kept.append(text.constData() + from, start - from);
        from = end + int(closing.size());
    }
}

QStringList someNames()
{
    std::mt19937 random(3);
    QStringList names;
    for (int i = 0; i < 200'000; ++i)
        names.append(QStringLiteral("%1 %2")
                         .arg(QLatin1String(random() % 2 ? "Chapter" : "chapter"))
                         .arg(random() % 500'000));
    return names;
}

QString removed(QString text, const QString &opening, const QString &closing)
{
    TESCoreUtil::Remove(&text, opening, closing);
    return text;
}

QString simplified(const QString &text, decltype(Oracle::simplifyQuotes) *simplify)
{
    bool replaced = false;
    const Pair single(QChar(u'‘'), QChar(u'’')), twofold(QChar(u'“'), QChar(u'”'));
    const QString result = simplify(text, single, twofold, &replaced);
    return replaced ? result : QString();
}

void addConvert(Table &table, const std::string &input, const QString &lineEnd, double target)
{
    table.add({"ConvertLineEndings", input, target}, [&] {
        const QString text = sampleText(Letters::Typographic, lineEnd);
        return Contest{{{"ours", [=] { return TESCoreUtil::ConvertLineEndings(text); }},
                        {"two QString::replace", [=] { return Oracle::convertLineEndings(text); }}},
                       [] {},
                       [=] {
                           const bool isCopy =
                               TESCoreUtil::ConvertLineEndings(text).constData() != text.constData();
                           if (isCopy && lineEnd == lf)
                               fail("a text without a carriage return was copied");
                       }};
    });
}

void addRemove(Table &table, const QString &opening, const QString &closing)
{
    const std::string input = "20 MB, marks " + opening.toStdString() + " and " + closing.toStdString();
    table.add({"Remove", input, 1.1}, [&] {
        const QString text = sampleText(Letters::Ascii, opening + QLatin1String("a span") + closing);
        return Contest{{{"ours", [=] { return removed(text, opening, closing); }},
                        {"loop", [=] { return loopRemove(text, opening, closing); }}}};
    });
}

void addSimplify(Table &table, const std::string &input, Letters letters)
{
    table.add({"simplifyQuotes", input, 1.1}, [=] {
        const QString text = sampleText(letters, lf);
        return Contest{{{"ours", [=] { return simplified(text, TESQuote::simplifyQuotes); }},
                        {"loop", [=] { return simplified(text, Oracle::simplifyQuotes); }}}};
    });
}

} // namespace

void addTextRows(Table &table)
{
    addConvert(table, "20 MB with CRLF", QStringLiteral("\r\n"), 0.12);
    addConvert(table, "20 MB without CR", lf, 0); // what counts is that nothing is copied
    addSimplify(table, "20 MB with some marks", Letters::Typographic);
    addSimplify(table, "20 MB without a mark", Letters::Ascii);
    addRemove(table, QStringLiteral("<"), QStringLiteral(">"));
    addRemove(table, QStringLiteral("<!--"), QStringLiteral("-->"));
    table.add({"isUnicode", "20 MB of ASCII", 1.1}, [] {
        const QString text = sampleText(Letters::Ascii, lf);
        return Contest{{{"ours", [=] { return TESCoreUtil::isUnicode(text); }},
                        {"loop", [=] { return loopIsUnicode(text); }}}};
    });
    table.add({"isOpenQuote", "20 million characters", 1.1}, [] {
        const QString text = sampleText(Letters::Typographic, lf);
        return Contest{{{"ours", [=] { return count(text, TESQuote::isOpenQuote); }},
                        {"loop", [=] { return count(text, loopIsOpenQuote); }}}};
    });
    table.add({"SortCaseInsensitive", "200,000 names", 1.0}, [] {
        const QStringList names = someNames();
        return Contest{{{"ours", [=] { return TESCoreUtil::SortCaseInsensitive(names); }},
                        {"QMap", [=] { return Oracle::sortCaseInsensitive(names); }}}};
    });
}
