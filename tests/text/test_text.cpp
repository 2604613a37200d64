#include <TesCore/TESCoreUtil.h>
#include <TesCore/TESQuote.h>

#include <QProcess>
#include <QTest>

#include <support/oracles.h>

#include <atomic>
#include <climits>
#include <cmath>
#include <thread>
#include <vector>

#include <unistd.h>

using namespace TESCoreUtil;
using namespace TESQuote;

namespace {

QString s(const char *utf8)
{
    return QString::fromUtf8(utf8);
}

QStringList words(const char *utf8)
{
    return s(utf8).split(QLatin1Char(' '));
}

/// All texts of up to `size` characters of `alphabet`.
std::vector<QString> allTexts(int size, const QString &alphabet)
{
    std::vector<QString> texts(1);
    for (size_t i = 0; texts[i].size() < size; ++i)
        for (QChar c : alphabet)
            texts.push_back(texts[i] + c);
    texts.erase(texts.begin());
    return texts;
}

/// What Remove() did wrong; nothing when it did what it is defined to do.
QString faultOfRemove(const QString &text, const QString &opening, const QString &closing)
{
    QString expected = text;
    QString result = text;
    const bool removed = Oracle::remove(&expected, opening, closing);
    if (Remove(&result, opening, closing) == removed && result == expected)
        return QString();
    return s("\"%1\" without \"%2\" to \"%3\" became \"%4\"").arg(text, opening, closing, result);
}

/// Everything that is built on first use, as text.
QString firstUse()
{
    QString list;
    const auto write = [&](const auto &table) {
        for (auto i = table.begin(); i != table.end(); ++i)
            list += s("%1%2%3 ").arg(i.key()).arg(i->first).arg(i->second);
    };
    write(doubleQuotes());
    write(singleQuotes());
    for (const auto &set : {startingDoubleQuotes(), closingDoubleQuotes(), doubleQuotesAll(),
                            startingSingleQuotes(), closingSingleQuotes(), singleQuotesAll()})
        list += s("%1 ").arg(set.size());
    for (const auto &pattern : {emailPattern(), webUrlPattern(), wwwPattern()})
        list += s("%1 ").arg(pattern.indexIn(s("to a@example.org, http://example.org or www.example.org!")));
    return list;
}

const char firstUseExpected[] = "0“” 1\"\" 2„“ 3„” 4»» 5”” 6‟” 7»« 8«» 9「」 "
                                "0‘’ 1'' 2‚‘ 3‚’ 4’’ 5‛‚ 6›‹ 7‹› 8›› 9`´ 10『』 8 6 9 9 8 11 3 18 40 ";

} // namespace

class TestText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The first of all tests: what it asks for is not built yet.
    void firstUseIsSafeFromManyThreads()
    {
        std::vector<QString> seen(8);
        std::atomic<size_t> waiting{seen.size()};
        std::vector<std::thread> threads(seen.size());
        for (size_t i = 0; i < seen.size(); ++i) {
            threads[i] = std::thread([&, i] {
                for (--waiting; waiting > 0;)
                    std::this_thread::yield();
                seen[i] = firstUse();
            });
        }
        for (std::thread &thread : threads)
            thread.join();
        for (const QString &result : seen)
            QCOMPARE(result, s(firstUseExpected));
    }

    void firstUseIsTheSameInEveryProcess()
    {
        for (int run = 0; run < 20; ++run) {
            QProcess child;
            child.start(QCoreApplication::applicationFilePath(), {s("firstUseIsSafeFromManyThreads")});
            QVERIFY2(child.waitForFinished(), qPrintable(child.errorString()));
            QVERIFY2(child.exitCode() == 0, child.readAllStandardOutput().constData());
        }
    }

    void removeGivesWhatTheStepsGive()
    {
        for (const auto &[letters, size, openingSize] : {std::tuple("ab", 10, 5), std::tuple("abc", 7, 3)})
            for (const QString &opening : allTexts(openingSize, s(letters)))
                for (const QString &closing : allTexts(2, s(letters)))
                    for (const QString &text : allTexts(size, s(letters)))
                        QCOMPARE(faultOfRemove(text, opening, closing), QString());
        QString text = s("text");
        QCOMPARE(faultOfRemove(s("a<!-->b-->"), s("<!--"), s("-->")), QString());
        QVERIFY(!Remove(nullptr, text, text));
        QVERIFY(!Remove(&text, s(""), text));
        QVERIFY(!Remove(&text, text, s("")));
        QVERIFY(!Remove(&text, text, text));
        QVERIFY(Remove(&text, text, s("x")));
        QCOMPARE(text, s("t"));
        text = s("1<a>2<b>3");
        const QString shared = text;
        QVERIFY(Remove(&text, s("<"), s(">")));
        QCOMPARE(text, s("123"));
        QCOMPARE(shared, s("1<a>2<b>3"));
    }

    void removeTakesNoSquareOfTime()
    {
        constexpr int m = 200'000; // that time would be hours
        const QString a = s("a").repeated(8 * m);
        const QString mark = s("a").repeated(40);
        const std::tuple<QString, QString, QString, int> rows[] = {
            {s("abcdef<ghijklm>n").repeated(m / 2), s("<"), s(">"), 7 * m / 2}, // many spans
            {s("<").repeated(8 * m), s("<"), s(">"), 8 * m},                    // none ends
            {a, mark + s("b"), s("b"), 8 * m},                                  // nearly a mark everywhere
            {a + s("bx").repeated(8 * m), s("ab"), s("x"), 0},                  // each removal forms a mark
            {a, mark, s("a"), 38},                              // most of a mark stays, and is a mark again
            {a + s("b"), mark + s("b"), s("a"), 39},            // ... with what was before it
            {s("aab").repeated(m), s("aabaab"), s("a"), m + 2}, // ... with what follows
        };
        for (auto [text, opening, closing, left] : rows) {
            Remove(&text, opening, closing);
            QCOMPARE(int(text.size()), left);
        }
    }

    void textsAreCutAndReplaced()
    {
        const QString text = s("abcdef");
        for (const QString &cut : {text, s(""), QString()})
            for (int start : {INT_MIN, -7, -2, 0, 4, 6, 7, INT_MAX})
                for (int end : {INT_MIN, -3, 0, 2, 6, 9, INT_MAX}) {
                    const int first = qBound(-10, start, 10); // as good, and their difference fits
                    const QString expected = cut.mid(first, qBound(-10, end, 10) - first);
                    const QString result = Substring(start, end, cut);
                    QCOMPARE(result, expected);
                    QCOMPARE(result.isNull(), expected.isNull());
                }
        QCOMPARE(ReplaceFirst(s("b"), s("X"), s("abcb")), s("aXcb"));
        QCOMPARE(ReplaceFirst(s(""), s("X"), text), s("Xabcdef"));
        QCOMPARE(ReplaceFirst(s("B"), s("X"), text), text);
        for (const char *mixed : {"Ab", "aB", "a1", "1a", "\u00e9\u00c9", "\u01c5a"})
            QVERIFY2(IsMixedCase(s(mixed)), mixed);
        for (const char *uniform : {"", "a", "AB", "A1", "ab", "\u00e9a", "\u01c5A"})
            QVERIFY2(!IsMixedCase(s(uniform)), uniform);
    }

    void valuesAreConverted()
    {
        QCOMPARE(URLEncodePath(s("/a b#%/\u00e9~\U0001F600")), s("/a%20b#%25/%C3%A9~%F0%9F%98%80"));
        QCOMPARE(URLDecodePath(s("/a%20b#%25/%C3%a9~\u00e9")), s("/a b#%/\u00e9~\u00e9"));
        std::vector<float> values = {8388607.5f, 16777216.f, 3.4e38f, -1e-40f, -0.f, HUGE_VALF};
        for (int i = -8000; i < 8000; ++i)
            values.push_back(float(i) / 128);
        for (float value : values)
            QVERIFY(RoundToOneDecimal(value) == QString::number(double(value), 'f', 1).toFloat());
        QVERIFY(std::isnan(RoundToOneDecimal(NAN)));
        for (const char *date : {"Nov 5 2013", "nov 5 2013", "Nov 05 2013"})
            QCOMPARE(convertCompileStringDate(s(date)), QDate(2013, 11, 5));
        for (const char *other : {"", "Nov  5 2013", "Okt 5 2013", "Nov +5 2013", "Nov 5 -2013",
                                  "Nov 5 \u22122013", "Feb 29 2013", "Nov 5 13"})
            QVERIFY2(!convertCompileStringDate(s(other)).isValid(), other);
    }

    void addressesAreFound()
    {
        const QString text =
            s("x@y.z a@b c@d.efghi ab://c.de http:/d.ef abcdefghij://k.lm WWW.g.hi http://m.nopqr "
              "www.n.opqrs aB0._%+-z@Cd-1.e.info www.aB0._:@%+-.lm httpSuite://aB0._:@%+-z.org/x");
        QStringList found;
        for (const QRegExp &pattern : {emailPattern(), webUrlPattern(), wwwPattern()})
            found.append(pattern.indexIn(text) < 0 ? QString() : pattern.cap());
        QCOMPARE(found, words("aB0._%+-z@Cd-1.e.info httpSuite://aB0._:@%+-z.org www.aB0._:@%+-.lm"));
    }

    void environmentIsReadAsItStands()
    {
        std::vector<char> odd = {'N', '=', 'c', '\0'}; // ends where nothing follows
        const char *entries[] = {"NO",    "AXB=x",  "A.B=dot", "TWICE=first", odd.data(), "TWICE=second",
                                 "P=Q=R", "=odd=x", "EMPTY=",  "\xc3\xa9=e",  nullptr};
        char **const kept = std::exchange(environ, const_cast<char **>(entries));
        QStringList values(GetEnvironmentVar(QString::fromLocal8Bit("\xc3\xa9")));
        for (const char *name : {"A.B", "TWICE", "P", "P=Q", "", "EMPTY", "NO", "A", "twice"})
            values.append(GetEnvironmentVar(s(name)));
        values.append(GetEnvironmentVar(s("N=c") + QChar::Null + s("x")));
        environ = nullptr;
        values.append(GetEnvironmentVar(s("P")));
        environ = kept;
        QCOMPARE(values, words("e dot first Q Q odd      "));
        QVERIFY(!values.at(6).isNull()); // EMPTY
        QVERIFY(values.at(7).isNull());  // NO
        QVERIFY(values.at(10).isNull()); // N=c, a NUL, x
    }

    void sortingKeepsTheLastOfEachForm()
    {
        const auto texts = allTexts(5, s("bAaZ\u00e9\u00c9\u0130") + QChar(0xD800) + QChar(0));
        const QStringList list(texts.begin(), texts.end());
        QCOMPARE(SortCaseInsensitive(list), Oracle::sortCaseInsensitive(list));
    }

    void everyPlaceOfATextIsSeen()
    {
        const auto singles = qMakePair(QChar(0x201A), QChar(0x2018));
        const auto doubles = qMakePair(QChar(0x201E), QChar(0x2018)); // a mark of both pairs is a double one
        const auto ascii = qMakePair(asciiSingleQuote(), asciiSingleQuote());
        bool replaced = false;
        QCOMPARE(simplifyQuotes(s("it's"), ascii, doubles), s("it's"));
        QCOMPARE(simplifyQuotes(s("it's"), ascii, doubles, &replaced), s("it's"));
        QVERIFY(replaced);
        for (int i = 0; i < 3 * 70 * 70; ++i) {
            const int size = i / 3 / 70 + 1;
            const int place = i / 3 % size;
            const QString plain = s("a").repeated(size);
            QVERIFY(simplifyQuotes(plain, singles, doubles, &replaced).isSharedWith(plain));
            QVERIFY(!replaced);
            QVERIFY(!isUnicode(plain));
            QString text = plain;
            QString expected = plain;
            text[place] = text[size - 1] = s("\u201a\u201e\u2018").at(i % 3);
            expected[place] = expected[size - 1] = QLatin1Char("'\"\""[i % 3]);
            QCOMPARE(simplifyQuotes(text, singles, doubles, &replaced), expected);
            QVERIFY(replaced);
            text = plain;
            text[place] = QChar(i % 2 ? 0x80 : 0xFF00);
            QVERIFY(isUnicode(text));
        }
    }

    void latin1IsDecomposed()
    {
        const QByteArray first("\xa0!cloy|s\"c-<--r^^+^^\\/P^,^_>113?"
                               "AAAAAAACEEEEIIIIDNOOOOOxOUUUUYPsaaaaaaaceeeeiiiidnooooo-ouuuuyp");
        const QByteArray second("\xa0!/-x-|o\"oa<,-o-*-23\\u!.,1o>424?"
                                "`'^~\"*E,`'^\"`'^\"-~`'^~\"x/`'^\"'|s`'^~\"*e,`'^\"`'^\"-~`'^~\":/`'^\"'|");
        for (int unit = 0; unit <= 0xFFFF; ++unit) {
            const auto place = unit - 0xA0;
            const char ascii = unit < 0x80 ? char(unit) : '\0';
            const bool listed = place >= 0 && place < first.size();
            const QPair<char, char> result = decomposeUnicodeChar(QChar(unit));
            QCOMPARE(result.first, listed ? first.at(place) : ascii);
            QCOMPARE(result.second, listed ? second.at(place) : ascii);
        }
    }

    void marksAreThoseOfTheTables()
    {
        QSet<QChar> opening[2], closing[2]; // of double, of single quotes
        for (const auto &pair : doubleQuotes())
            opening[0] << pair.first, closing[0] << pair.second;
        for (const auto &pair : singleQuotes())
            opening[1] << pair.first, closing[1] << pair.second;
        QCOMPARE(startingDoubleQuotes(), opening[0]);
        QCOMPARE(startingSingleQuotes(), opening[1]);
        QCOMPARE(closingDoubleQuotes(), closing[0]);
        QCOMPARE(closingSingleQuotes(), closing[1]);
        QCOMPARE(doubleQuotesAll(), opening[0] + closing[0]);
        QCOMPARE(singleQuotesAll(), opening[1] + closing[1]);
        const QRegExp doubles(doubleQuotesSearchPattern());
        const QRegExp singles(singleQuotesSearchPattern());
        QCOMPARE(doubles.pattern().left(2), s("[\""));
        QCOMPARE(doubles.pattern().size(), 12);
        QCOMPARE(singles.pattern().left(2), s("['"));
        QCOMPARE(singles.pattern().size(), 14);
        for (int unit = 0; unit <= 0xFFFF; ++unit) {
            const QChar c(unit);
            QCOMPARE(isOpenQuote(c), (opening[0] + opening[1]).contains(c));
            QCOMPARE(isCloseQuote(c), (closing[0] + closing[1]).contains(c));
            QCOMPARE(doubles.exactMatch(c), (opening[0] + closing[0]).contains(c));
            QCOMPARE(singles.exactMatch(c), (opening[1] + closing[1]).contains(c));
        }
    }

    void stylesFollowTheLanguageAlone()
    {
        QString marks;
        for (const char *name :
             {"en_GB", "de_CH", "gsw_CH", "fr_CA", "zh_TW", "ja_JP", "ko_KR", "it_IT", "C"})
            for (const auto &pair : {doubleQuotes(QLocale(s(name))), singleQuotes(QLocale(s(name)))})
                marks += QString(pair.first) + pair.second;
        QCOMPARE(marks, s("“”‘’„“‚‘«»‹›«»‹›「」『』「」『』「」『』“”‘’“”‘’"));
        QVERIFY(languages(DoubleCornerBracket).isEmpty());
        QVERIFY(languages(SingleAscii).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestText)
#include "test_text.moc"
