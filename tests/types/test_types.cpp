#include <TesCore/TCoreType.h>
#include <TesCore/TESCoreUtil.h>
#include <TesCore/TUuid.h>

#include <QRegularExpression>
#include <QTest>

#include <support/oracles.h>

#include <climits>
#include <cmath>
#include <random>

using Pair = QPair<double, double>;
using Ids = QSet<int>;
using namespace TCoreType;

namespace {

QString s(const char *utf8)
{
    return QString::fromUtf8(utf8);
}

} // namespace

class TestTypes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pairsAreRead()
    {
        // clang-format off
        const std::tuple<const char *, bool, Pair> rows[] = { // text; whether it holds integers; its pair
            {"12,-34", true, {12, -34}}, {"1.5,-2", false, {1.5, -2}}, {" 1\t,\u00a0+2", true, {1, 2}},
            {"7", false, {}}, {"1,2,3", false, {}}, {"a,2", false, {}}, {"1,1e400", false, {}},
            {"1,2147483648", false, {1, 2147483648.0}},
        };
        // clang-format on
        for (const auto &[text, isInt, pair] : rows) {
            bool intOk = !isInt, ok = pair == Pair(), pointOk = ok;
            QVERIFY2(Pair(toIntPair(s(text), &intOk)) == (isInt ? pair : Pair()) && intOk == isInt, text);
            QVERIFY2(toDoublePair(s(text), &ok) == pair && ok == (pair != Pair()), text);
            QVERIFY2(toPointF(s(text), &pointOk) == QPointF(pair.first, pair.second) && pointOk == ok, text);
            QCOMPARE(toIntPair(s(text) + QChar::Null, nullptr), (QPair<int, int>()));
        }
    }

    void pairsAreWritten()
    {
        QCOMPARE(toString(Pair(12.5, -1e15), 2), s("12.50,-1000000000000000.00"));
        QCOMPARE(toString(Pair(0, 10), 0), s("0,10"));
        QCOMPARE(toString(QPointF(0.001, -0.001), 2), s("0.0,-0.00"));
        QCOMPARE(toString(QSizeF(210, 297), 1), s("210.0,297.0"));
        QCOMPARE(toString(Pair(0.5, 0), INT_MAX).size(), 1'000'002 + 4);
        QCOMPARE(toString(Pair(0.5, 0), INT_MIN), s("0.500000,0.0"));
    }

    void alignments()
    {
        int flags = 0;
        for (const char *name : {"Justify", "Center", "Right", "Left"}) { // Each hides those before it.
            const auto flag = toAlignment(s(name), Qt::AlignTop);
            flags |= int(flag | Qt::AlignVCenter | Qt::AlignAbsolute);
            QCOMPARE(toString(Qt::Alignment(flags)), s(name));
            QCOMPARE(int(simplifyAlignment(Qt::Alignment(flags))), int(flag));
        }
        QCOMPARE(flags, int(Qt::AlignHorizontal_Mask | Qt::AlignVCenter));
        QCOMPARE(int(simplifyAlignment(Qt::AlignTop)), int(Qt::AlignLeft));
        QCOMPARE(int(toAlignment(s("center"), Qt::AlignTop)), int(Qt::AlignTop));
    }

    void fuzzyComparison()
    {
        const double inf = HUGE_VAL, nan = std::nan("");
        // clang-format off
        const std::tuple<double, double, bool, bool> rows[] = { // two numbers; equal as floats; as doubles
            {0, 0, true, true}, {0, 1e-30, false, true}, {0, 1e-13, false, true}, {0, 1e-11, false, false},
            {-1, -1, true, true}, {-1, -1.000001, true, false}, {1, 1.00002, false, false},
            {1, 1 + 3e-12, true, false}, {1, -1, false, false}, {100, 100.01, false, false},
            {nan, nan, false, false}, {1, nan, false, false}, {nan, 1, false, false},
            {inf, inf, false, false}, {inf, -inf, true, true},
            // Arithmetic with more digits than a double has would turn these two round.
            {0.676, 0.67600000000167615, true, true}, {0.356, 0.3560000000013559, true, false},
        };
        // clang-format on
        for (const auto &[a, b, asFloats, asDoubles] : rows) {
            const QByteArray values = QByteArray::number(a, 'g', 17) + ", " + QByteArray::number(b, 'g', 17);
            QVERIFY2(tesFuzzyCompare(float(a), float(b)) == asFloats, values.constData());
            QVERIFY2(tesFuzzyCompare(a, b) == asDoubles, values.constData());
        }
    }

    void idsOfRangesAreBounded() // by 10,000,000 beyond one for each range, however often they are repeated
    {
        QCOMPARE(splitToIds(s("0-2147483647, 0-10000001, 5")), Ids{5});
        Ids ids = splitToIds(s("1-9999999, 7-7, 5-6, 40000000, 0-9, 1-9999999, 20000000-20000002, "
                               "30000000-30000001"));
        QCOMPARE(ids.size(), 10'000'004);
        for (const int id : {0, 9999999, 20000000, 20000002, 40000000})
            QVERIFY2(ids.remove(id), QByteArray::number(id).constData());
    }

    void idsAgreeWithTheLiteralSteps()
    {
        for (const char *text :
             {",1,,x,1-3-5,2147483648,6,", "1 - 3,\u00a0 8\n,5 5", "2147483646-2147483647",
              "+7, 0000000000000000000008, ++9, +-1", "-5,\u22125,\u22125-3,1-\u22125,\u2212\u22120,--5,4",
              "-0,0--1,0-- 0,0--+0,-0-0", "0--0", "+0- -00 ", "0--0000000000000", "\u22120", "0-\u22120",
              " \u221200-0", "18446744073709551617, 4294967297"})
            QCOMPARE(splitToIds(s(text)), Oracle::splitToIds(s(text)));
        QCOMPARE(splitToIds(s("3-1, +0- -00, 8, 1 - 3")), (Ids{0, 1, 2, 3, 8}));
        std::mt19937 random(7);
        const QString letters = s("012345678901234567890123456789,,,,,-- +\u00a0\u2212/:\u8035");
        const QRegularExpression longSpan(s("-\\D*\\d{5}"));
        for (int round = 0; round < 20000; ++round) {
            QString text;
            while (random() % 24 != 0)
                text += letters.at(int(random() % unsigned(letters.size())));
            if (text.contains(longSpan))
                continue;
            const Ids ids = splitToIds(text);
            QVERIFY2(ids == Oracle::splitToIds(text), qPrintable(text));
            QCOMPARE(toString(ids), Oracle::toString(ids));
        }
        Ids many;
        while (many.size() < 50'000)
            many.insert(int(random() >> 1));
        QCOMPARE(splitToIds(toString(many)), many);
        many += {INT_MIN, -7, -6, INT_MAX - 1, INT_MAX};
        QCOMPARE(toString(many), Oracle::toString(many));
        QCOMPARE(toString({5, 3, 8, 7, 0, 1, 2}), s("0-3, 5, 7-8"));
    }

    void uuids()
    {
        const QString lower = s("00112233-4455-6677-8899-aabbccddeeff");
        const QUuid id(lower), null;
        for (bool upperCase : {false, true}) {
            const QString text = upperCase ? lower.toUpper() : lower;
            const QStringList texts{text, s("00000000-0000-0000-0000-000000000000")};
            QCOMPARE(TUuid::toByteArrayNoBraces(id, upperCase), text.toLatin1());
            QCOMPARE(TUuid::toStringListNoBraces({id, null}, upperCase), texts);
            QCOMPARE(TUuid::toStringNoBraces(QList<QUuid>{id, null}, upperCase), texts);
            const QString braced = s("{%1}").arg(text);
            QCOMPARE(TUuid::toStringList({id, null}, upperCase).value(0), braced);
            QCOMPARE(TUuid::toUuidList({braced, s("none"), text, s("{") + text, text + s(", old"),
                                        s(" ") + text, QString(text).remove(QLatin1Char('-'))}),
                     (QList<QUuid>{id, null, id, id, id, null, null}));
        }
        const QString fresh = TESCoreUtil::CreateUUID();
        QCOMPARE(TUuid::toStringNoBraces(QUuid(fresh)), fresh);
        QCOMPARE(QUuid(fresh).version(), QUuid::Random);
        QVERIFY(fresh != TESCoreUtil::CreateUUID());
    }
};

QTEST_APPLESS_MAIN(TestTypes)
#include "test_types.moc"
