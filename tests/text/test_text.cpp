#include <TesCore/TESCoreUtil.h>
#include <TesCore/TESQuote.h>

#include <QTest>

#include <support/oracles.h>

#include <atomic>
#include <climits>
#include <cmath>
#include <future>
#include <thread>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

using namespace TESCoreUtil;
using namespace TESQuote;

namespace {

QString s(const char *utf8)
{
    return QString::fromUtf8(utf8);
}

/// The empty text and all texts of up to `size` characters of `alphabet`.
std::vector<QString> allTexts(int size, const QString &alphabet)
{
    std::vector<QString> texts(1);
    for (size_t i = 0; texts[i].size() < size; ++i)
        for (QChar c : alphabet)
            texts.push_back(texts[i] + c);
    return texts;
}

/// Everything that is built on first use, as text.
QString firstUse()
{
    QString list = convertCompileStringDate(s("Nov 5 2013")).toString(s("yyyy-M-d "));
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

const char firstUseExpected[] = "2013-11-5 0“” 1\"\" 2„“ 3„” 4»» 5”” 6‟” 7»« 8«» 9「」 "
                                "0‘’ 1'' 2‚‘ 3‚’ 4’’ 5‛‚ 6›‹ 7‹› 8›› 9`´ 10『』 8 6 9 9 8 11 3 18 40 ";

/// Whether the first uses that many threads make at once all give what they should.
bool firstUsesAreRight()
{
    std::vector<std::future<QString>> uses(8);
    std::atomic<size_t> waiting{uses.size()};
    for (auto &use : uses)
        use = std::async(std::launch::async, [&waiting] {
            for (--waiting; waiting > 0;)
                std::this_thread::yield();
            return firstUse();
        });
    return std::all_of(uses.begin(), uses.end(), [](auto &use) { return use.get() == s(firstUseExpected); });
}

/// The same in many processes, forked from one that has used nothing: in how many it goes wrong.
int countWrongFirstUses()
{
    qputenv("QT_HASH_SEED", "0"); // for the order of what is listed
    int wrong = 0;
    for (int i = 0; i < 300; ++i) {
        if (::fork() == 0)
            ::_exit(firstUsesAreRight() ? 0 : 1);
        int status = -1;
        wrong += ::wait(&status) < 0 || status != 0;
    }
    return wrong;
}

} // namespace

class TestText : public QObject
{
    Q_OBJECT

    // Before Qt Test has threads, which a forked process would miss.
    const int m_wrongFirstUses = countWrongFirstUses();

private Q_SLOTS:
    void firstUseIsSafeFromManyThreads() const { QCOMPARE(m_wrongFirstUses, 0); }

    void removeGivesWhatTheStepsGive()
    {
        for (const auto &[letters, size, openingSize] : {std::tuple("ab", 10, 5), std::tuple("abc", 7, 3)})
            for (const QString &opening : allTexts(openingSize, s(letters)))
                for (const QString &closing : allTexts(2, s(letters)))
                    for (const QString &text : allTexts(size, s(letters))) {
                        QString expected = text, result = text;
                        const bool removed = Oracle::remove(&expected, opening, closing);
                        QCOMPARE(Remove(&result, opening, closing), removed);
                        QCOMPARE(result, expected);
                    }
        QString text = s("text");
        QVERIFY(!Remove(nullptr, text, text));
        QVERIFY(Remove(&text, text, s("x")));
        QCOMPARE(text, s("t"));
        const QString shared = text = s("1<a>2<b>3");
        QVERIFY(Remove(&text, s("<"), s(">")));
        QCOMPARE(text + shared, s("1231<a>2<b>3"));
    }

    void removeTakesNoSquareOfTime()
    {
        constexpr int m = 200'000; // that time would be hours
        const QString a = s("a").repeated(8 * m), mark = s("a").repeated(40);
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
        QCOMPARE(ReplaceFirst(s("bc"), s("X"), s("abcbc")), s("aXbc"));
        QCOMPARE(ReplaceFirst(s(""), s("X"), text), s("Xabcdef"));
        QCOMPARE(ReplaceFirst(s("B"), s("X"), text), text);
        for (const char *mixed : {"Ab", "aB", "a1", "1z", "\u00e9\u00c9", "\u01c5a"})
            QVERIFY2(IsMixedCase(s(mixed)), mixed);
        for (const char *uniform : {"", "a", "AB", "A1", "az", "\u00e9a", "\u01c5A"})
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
            s("x@y.z a@b c@d.efghi ab://c.de http:/d.ef abcdefghij://k.lm WWW.g.hi xwww.g.hi http://m.nopqr "
              "www.n.opqrs aB0._%+-z@Cd-1.e.info www.aB0._:@%+-.lm httpSuite://aB0._:@%+-z.org/x");
        QStringList found;
        for (const QRegExp &pattern : {emailPattern(), webUrlPattern(), wwwPattern()})
            found.append(pattern.indexIn(text) < 0 ? QString() : pattern.cap());
        QCOMPARE(found.join(s(" ")),
                 s("aB0._%+-z@Cd-1.e.info httpSuite://aB0._:@%+-z.org www.aB0._:@%+-.lm"));
    }

    void environmentIsReadAsItStands()
    {
        std::vector<char> odd = {'N', '=', 'c', '\0'}; // ends where nothing follows
        const char *entries[] = {"NO",    "AXB=x",  "A.B=dot", "TWICE=first", odd.data(), "TWICE=second",
                                 "P=Q=R", "=odd=x", "EMPTY=",  "\xc3\xa9=e",  nullptr};
        char **const kept = std::exchange(environ, const_cast<char **>(entries));
        QString values;
        const auto add = [&](const QString &name) {
            const QString value = GetEnvironmentVar(name);
            values += (value.isNull() ? s("null") : value) + s(" ");
        };
        add(QString::fromLocal8Bit("\xc3\xa9"));
        for (const char *name : {"A.B", "TWICE", "P", "P=Q", "", "EMPTY", "NO", "A", "twice"})
            add(s(name));
        add(s("N=c") + QChar::Null + s("x"));
        environ = nullptr;
        add(s("P"));
        environ = kept;
        QCOMPARE(values, s("e dot first Q Q odd  null null null null null "));
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
        const auto ascii = qMakePair(asciiSingleQuote(), QChar(0x2019));
        bool replaced = false;
        for (const char *text : {"it's", "it\u2019s"})
            QVERIFY(simplifyQuotes(s(text), ascii, doubles, &replaced) == s("it's") && replaced);
        for (int i = 0; i < 4 * 70 * 70; ++i) {
            const int size = i / 4 / 70 + 1, place = i / 4 % size;
            QString text = s("a").repeated(size);
            QVERIFY(!isUnicode(text));
            text[place] = text[size - 1] = s("a\u201a\u201e\u2018").at(i % 4);
            bool expected = false;
            QCOMPARE(simplifyQuotes(text, singles, doubles, &replaced),
                     Oracle::simplifyQuotes(text, singles, doubles, &expected));
            QCOMPARE(replaced, expected);
            QCOMPARE(simplifyQuotes(text, singles, doubles).isSharedWith(text), !expected);
            text.fill(QLatin1Char('a'))[place] = QChar(i % 2 ? 0x80 : 0x8000);
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
            QCOMPARE(decomposeUnicodeChar(QChar(unit)),
                     listed ? qMakePair(first.at(place), second.at(place)) : qMakePair(ascii, ascii));
        }
    }

    void eachKindOfMarkIsKnown()
    {
        const auto marks = [](const auto &is) {
            QString all;
            for (int unit = 0; unit <= 0xFFFF; ++unit)
                all += is(QChar(unit)) ? QString(QChar(unit)) : QString();
            return all;
        };
        const auto of = [&](const QSet<QChar> &set) {
            return marks([&](QChar c) { return set.contains(c); });
        };
        QCOMPARE(marks(isOpenQuote), s("\"'`«»‘’‚‛“”„‟‹›「『"));
        QCOMPARE(marks(isCloseQuote), s("\"'«´»‘’‚“”‹›」』"));
        QCOMPARE(of(startingDoubleQuotes()), s("\"«»“”„‟「"));
        QCOMPARE(of(closingDoubleQuotes()), s("\"«»“”」"));
        QCOMPARE(of(doubleQuotesAll()), s("\"«»“”„‟「」"));
        QCOMPARE(of(startingSingleQuotes()), s("'`‘’‚‛‹›『"));
        QCOMPARE(of(closingSingleQuotes()), s("'´‘’‚‹›』"));
        QCOMPARE(of(singleQuotesAll()), s("'`´‘’‚‛‹›『』"));
        const QRegExp doubles(doubleQuotesSearchPattern()), singles(singleQuotesSearchPattern());
        QCOMPARE(doubles.pattern().left(2) + singles.pattern().left(2), s("[\"['"));
        QCOMPARE(marks([&](QChar c) { return doubles.exactMatch(c); }), of(doubleQuotesAll()));
        QCOMPARE(marks([&](QChar c) { return singles.exactMatch(c); }), of(singleQuotesAll()));
    }

    void stylesFollowTheLanguageAlone()
    {
        QString marks;
        for (const char *name : {"en_GB", "de_CH", "gsw_CH", "fr_CA", "zh_TW", "ja_JP", "ko_KR", "it_IT"})
            for (const auto &pair : {doubleQuotes(QLocale(s(name))), singleQuotes(QLocale(s(name)))})
                marks += QString(pair.first) + pair.second;
        QCOMPARE(marks, s("“”‘’„“‚‘«»‹›«»‹›「」『』「」『』「」『』“”‘’"));
        QVERIFY(languages(DoubleCornerBracket).isEmpty() && languages(SingleAscii).isEmpty());
    }
};

QTEST_APPLESS_MAIN(TestText)
#include "test_text.moc"
