#include <TesCore/TesCore.h>

#include <QTest>

class TestCore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hookHoldsTheReporterFromTheStart()
    {
        QVERIFY(Tessarine::assert_ptr_what == &Tessarine::qt_atm_assert_what_impl);
    }

    void reporterWritesOneWarning()
    {
        QTest::ignoreMessage(QtWarningMsg,
                             "ASSERT in function save: \"n > 0\", file: \"document.cpp\", line: \"42\"");
        Tessarine::assert_ptr_what("save", "document.cpp", 42, "n > 0");
    }

    void hookCanBeReplacedAndPutBack()
    {
        Tessarine::assert_ptr_what = nullptr;
        Tessarine::setCommandLineAssert();
        QVERIFY(Tessarine::assert_ptr_what == &Tessarine::qt_atm_assert_what_impl);
    }
};

QTEST_MAIN(TestCore)
#include "test_core.moc"
