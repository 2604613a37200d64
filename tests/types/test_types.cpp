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

class TestTypes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pairsAreRead_data()
    {
        QTest::addColumn<bool>("isInt");
        QTest::addColumn<Pair>("pair");
        QTest::newRow("12,-34") << true << Pair(12, -34);
        QTest::newRow("1.5,-2") << false << Pair(1.5, -2);
        QTest::newRow(" 1\t,\u00a0+2") << true << Pair(1, 2);
        QTest::newRow("7") << false << Pair();
        QTest::newRow("1,2,3") << false << Pair();
        QTest::newRow("a,2") << false << Pair();
        QTest::newRow("1,2147483648") << false << Pair(1, 2147483648.0);
        QTest::newRow("1,1e400") << false << Pair();
    }

    void pairsAreRead() // Each row is named by its text.
    {
        QFETCH(bool, isInt);
        QFETCH(Pair, pair);
        const QString text = QString::fromUtf8(QTest::currentDataTag());
        bool intOk = !isInt, ok = pair == Pair(), pointOk = ok;
        QCOMPARE(Pair(toIntPair(text, &intOk)), isInt ? pair : Pair());
        QCOMPARE(toDoublePair(text, &ok), pair);
        QCOMPARE(toPointF(text, &pointOk), QPointF(pair.first, pair.second));
        QCOMPARE(intOk, isInt);
        QCOMPARE(ok, pair != Pair());
        QCOMPARE(pointOk, ok);
        QCOMPARE(toIntPair(text + QChar::Null, nullptr), (QPair<int, int>()));
    }

    void pairsAreWritten()
    {
        QCOMPARE(toString(Pair(12.5, -1e15), 2), QStringLiteral("12.50,-1000000000000000.00"));
        QCOMPARE(toString(Pair(0, 10), 0), QStringLiteral("0,10"));
        QCOMPARE(toString(QPointF(0.001, -0.001), 2), QStringLiteral("0.0,-0.00"));
        QCOMPARE(toString(QSizeF(210, 297), 1), QStringLiteral("210.0,297.0"));
        QCOMPARE(toString(Pair(0.5, 0), INT_MAX).size(), 1'000'002 + 4);
        QCOMPARE(toString(Pair(0.5, 0), INT_MIN), QStringLiteral("0.500000,0.0"));
    }

    void alignments()
    {
        int flags = 0;
        for (const char *name : {"Justify", "Center", "Right", "Left"}) { // Each hides those before it.
            const auto flag = toAlignment(QLatin1String(name), Qt::AlignTop);
            flags |= int(flag | Qt::AlignVCenter | Qt::AlignAbsolute);
            QCOMPARE(toString(Qt::Alignment(flags)), QLatin1String(name));
            QCOMPARE(int(simplifyAlignment(Qt::Alignment(flags))), int(flag));
        }
        QCOMPARE(int(simplifyAlignment(Qt::AlignTop)), int(Qt::AlignLeft));
        QCOMPARE(int(toAlignment(QStringLiteral("center"), Qt::AlignTop)), int(Qt::AlignTop));
    }

    void fuzzyComparison()
    {
        struct Row
        {
            double a;
            double b;
            bool asFloats;
            bool asDoubles;
        };
        const double inf = HUGE_VAL, nan = std::nan("");
        const Row rows[] = {
            {0, 0, true, true},
            {0, 1e-30, false, true},
            {0, 1e-13, false, true},
            {0, 1e-11, false, false},
            {-1, -1, true, true},
            {-1, -1.000001, true, false},
            {1, 1.00002, false, false},
            {1, -1, false, false},
            {100, 100.01, false, false},
            {nan, nan, false, false},
            {1, nan, false, false},
            {nan, 1, false, false},
            {inf, inf, false, false},
            {inf, -inf, true, true},
            // Arithmetic with more digits than a double has would turn these two round.
            {0.676, 0.67600000000167615, true, true},
            {0.356, 0.3560000000013559, true, false},
        };
        for (const Row &row : rows) {
            const QByteArray values =
                QByteArray::number(row.a, 'g', 17) + ", " + QByteArray::number(row.b, 'g', 17);
            QVERIFY2(tesFuzzyCompare(float(row.a), float(row.b)) == row.asFloats, values.constData());
            QVERIFY2(tesFuzzyCompare(row.a, row.b) == row.asDoubles, values.constData());
        }
    }

    void idsAreWritten()
    {
        QCOMPARE(toString(Ids()), QString());
        QCOMPARE(toString(Ids{5, 3, 8, 7, 0, 1, 2}), QStringLiteral("0-3, 5, 7-8"));
        QCOMPARE(toString(Ids{INT_MAX, INT_MAX - 1, 4}), QStringLiteral("4, 2147483646-2147483647"));
        QString expected = QStringLiteral("-2147483648, -7"); // Enough ids to be sorted by digits.
        Ids ids{INT_MIN, -7};
        for (int id = 1; id < 100'000'000; id += 2 + id / 500) {
            expected += QLatin1String(", ") + QString::number(id);
            ids.insert(id);
        }
        QCOMPARE(toString(ids), expected);
    }

    void idsAreRead()
    {
        QCOMPARE(splitToIds(QStringLiteral(",1,,x,1-3-5,2147483648,6,")), (Ids{1, 6}));
        QCOMPARE(splitToIds(QStringLiteral("1 - 3,\u00a0 8\n,5 5")), (Ids{1, 2, 3, 8}));
        QCOMPARE(splitToIds(QStringLiteral("+7, 0000000000000000000008, ++9, +-1")), (Ids{7, 8}));
        QCOMPARE(splitToIds(QStringLiteral("-5,\u22125,\u22125-3,1-\u22125,\u2212\u22120,--5,4")), (Ids{4}));
        QCOMPARE(splitToIds(QStringLiteral("-0,0--1,0-- 0,0--+0,-0-0")), Ids());
        for (const char *zero :
             {"0--0", "+0- -00 ", "0--0000000000000", "\u22120", "0-\u22120", " \u221200-0"})
            QCOMPARE(splitToIds(QString::fromUtf8(zero)), Ids{0});
        QCOMPARE(splitToIds(QStringLiteral("2147483646-2147483647")), (Ids{INT_MAX - 1, INT_MAX}));
        QCOMPARE(splitToIds(QStringLiteral("18446744073709551617, 4294967297")), Ids());
        QCOMPARE(splitToIds(QStringLiteral("0-2147483647, 0-10000001, 5")), (Ids{5}));
    }

    void idsOfRangesAreBounded() // by 10,000,000 beyond one for each range, however often they are repeated
    {
        const QString most =
            QStringLiteral("1-9999999, 7-7, 5-6, 40000000, 0-9, 1-9999999, 20000000-20000002");
        Ids ids = splitToIds(most + QStringLiteral(", 30000000-30000001"));
        QCOMPARE(ids.size(), 10'000'004);
        for (const int id : {0, 9999999, 20000000, 20000002, 40000000})
            QVERIFY2(ids.remove(id), QByteArray::number(id).constData());
    }

    void idsAgreeWithTheLiteralSteps()
    {
        std::mt19937 random(7);
        const QString letters = QStringLiteral("012345678901234567890123456789,,,,,-- +\u00a0\u2212/:\u8035");
        for (int round = 0; round < 20000; ++round) {
            QString text;
            while (random() % 24 != 0)
                text += letters.at(int(random() % unsigned(letters.size())));
            if (!text.contains(QRegularExpression(QStringLiteral("-\\D*\\d{5}")))) // No long spans.
                QVERIFY2(splitToIds(text) == Oracle::splitToIds(text), qPrintable(text));
        }
        Ids many;
        while (many.size() < 50'000)
            many.insert(int(random() >> 1));
        QCOMPARE(splitToIds(toString(many)), many);
    }

    void uuids()
    {
        const QString lower = QStringLiteral("00112233-4455-6677-8899-aabbccddeeff");
        const QList<QUuid> list{QUuid(lower), QUuid()};
        for (bool upperCase : {false, true}) {
            const QString text = upperCase ? lower.toUpper() : lower;
            const QStringList texts{text, QStringLiteral("00000000-0000-0000-0000-000000000000")};
            QCOMPARE(TUuid::toByteArrayNoBraces(list.first(), upperCase), text.toLatin1());
            QCOMPARE(TUuid::toStringListNoBraces(list, upperCase), texts);
            QCOMPARE(TUuid::toStringNoBraces(list, upperCase), texts);
            const QStringList braced = TUuid::toStringList(list, upperCase);
            QCOMPARE(braced.first(), QLatin1Char('{') + text + QLatin1Char('}'));
            QCOMPARE(TUuid::toUuidList(braced), list);
            QCOMPARE(TUuid::toUuidList({text, QStringLiteral("none")}), list);
            QCOMPARE(TUuid::toUuidList({QLatin1Char('{') + text, text + QStringLiteral(", old")}),
                     (QList<QUuid>{list.first(), list.first()}));
            QCOMPARE(TUuid::toUuidList({QLatin1Char(' ') + text, QString(text).remove(QLatin1Char('-'))}),
                     (QList<QUuid>{QUuid(), QUuid()}));
        }
        const QString fresh = TESCoreUtil::CreateUUID();
        QCOMPARE(TUuid::toStringNoBraces(QUuid(fresh)), fresh);
        QCOMPARE(QUuid(fresh).version(), QUuid::Random);
        QVERIFY(fresh != TESCoreUtil::CreateUUID());
    }
};

QTEST_APPLESS_MAIN(TestTypes)
#include "test_types.moc"
