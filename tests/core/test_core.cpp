#include <TesCore/TESCoreUtil.h>
#include <TesCore/TesCore.h>

#include <QCoreApplication>
#include <QProcess>
#include <QTest>

#include <cerrno>
#include <cstdio>

#include <pwd.h>
#include <unistd.h>

namespace {

int databaseError = 0;
bool hasEntry = false;

QString s(const char *utf8)
{
    return QString::fromUtf8(utf8);
}

/// What a process with the arguments in question says about one option.
QString answers(const QString &name)
{
    const QString value = TESCoreApp::appArgValue(name);
    const QString found = value.isEmpty() ? s(value.isNull() ? "null " : "empty ") : QString();
    const int flags = 100 * TESCoreApp::appArgContains(name) + 10 * TESCoreApp::appArgStartsWith(name);
    return s("%1%2 %3 %4")
        .arg(found, TESCoreApp::appArgValue(name, s("en")))
        .arg(TESCoreApp::appArgInt(name, 7))
        .arg(flags + TESCoreApp::appArgVerbose());
}

/// Runs this program as the process that answers.
QString ask(const QString &question, const char *arguments)
{
    qputenv("TESCORE_QUESTION", question.toUtf8());
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels); // Nothing else may be written.
    process.start(QCoreApplication::applicationFilePath(), s(arguments).split(QLatin1Char(' ')));
    process.waitForFinished();
    return QString::fromUtf8(process.readAll());
}

} // namespace

// The library's call arrives here. The record is filled in even when it is not the result.
extern "C" int getpwuid_r(uid_t, passwd *resultbuf, char *buffer, size_t buflen, passwd **result)
{
    resultbuf->pw_name = qstrncpy(buffer, "J\xfcrgen", uint(buflen));
    *result = hasEntry ? resultbuf : nullptr;
    return buflen == 1024 ? databaseError : EINVAL;
}

class TestCore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void assertionHook()
    {
        QVERIFY(Tessarine::assert_ptr_what == &Tessarine::qt_atm_assert_what_impl);
        QTest::ignoreMessage(QtWarningMsg,
                             "ASSERT in function save: \"n > 0\", file: \"document.cpp\", line: \"42\"");
        Tessarine::assert_ptr_what("save", "document.cpp", 42, "n > 0");
        Tessarine::assert_ptr_what = nullptr;
        Tessarine::setCommandLineAssert();
        QVERIFY(Tessarine::assert_ptr_what == &Tessarine::qt_atm_assert_what_impl);
    }

    void identity()
    {
        QVERIFY(TesCore::systemUsername().isNull());
        hasEntry = true;
        QCOMPARE(TesCore::systemUsername(), s("J\u00fcrgen"));
        databaseError = ERANGE;
        QVERIFY(TesCore::systemUsername().isNull());
        qputenv("USER", s("n\u00e9").toLocal8Bit());
        QCOMPARE(TesCore::systemUsernameEnv(), QString::fromLocal8Bit(qgetenv("USER")));
        QCOMPARE(TesCore::processIdToSessionId().toUInt(nullptr, 16), getuid());
        QCOMPARE(TesCore::operatingSystem(), s("Linux"));
    }

    void application()
    {
        for (const char *name : {"Tessarine", "Plinket", "tessarine", "Plinket 2"}) {
            QCoreApplication::setApplicationName(s(name));
            QCOMPARE(TesCore::isAppTessarine(), !qstrcmp(name, "Tessarine"));
            QCOMPARE(TesCore::isAppPlinket(), !qstrcmp(name, "Plinket"));
            const char *host = TesCore::isAppPlinket() ? "plinket" : "tessarine";
            QCOMPARE(TesCore::supportEmail(), s("support@%1.example").arg(s(host)));
        }
    }

    void commandLine()
    {
        const QString program = QCoreApplication::applicationFilePath();
        // Found: the value or "en", the integer or 7; 100 contains, 10 starts with, 1 verbose.
        const std::tuple<const char *, QString, const char *> rows[] = {
            {"-lang=a --lang=b lang=c", s("lang"), "c 7 110"}, // first bare
            {"--lang=b -lang=a", s("lang"), "a 7 110"},        // then with one dash
            {"lang=c -lang=a", s("--lang"), "null en 7 100"},  // dashes given are kept
            {"--Width 80 -v", s("WIDTH"), "80 80 11"},         // the next argument
            {"--to -x --verbose", s("--to"), "null en 7 111"}, // but no option
            {"--lang= fr", s("--lang="), "empty en 7 110"},
            {"--N=-3 --verbose=1", s("n"), "-3 -3 110"},
            {"--n=1--N=2", s("n"), "12 12 110"},              // the name goes everywhere
            {"--foo -V -vv foo", s("--Foo"), "null en 7 10"}, // letters count when alone
            {"foo=1", s("-foo"), "null en 7 100"},
            {"80", program, "80 80 110"},
            {"-foo=1 -v=", s("--Foo"), "null en 7 100"}, // but not with a value
        };
        for (const auto &[arguments, name, found] : rows)
            QCOMPARE(s(arguments) + s(" gives ") + ask(name, arguments),
                     s(arguments) + s(" gives ") + s(found));
        QCOMPARE(ask(s("early"), "-v"), s("null en 7 0")); // asked before, where there were no arguments
    }

    void digestIsKept()
    {
        const QByteArray digest = TESCoreApp::appHashSum();
        QVERIFY(digest.size() == 20);
        QCOMPARE(digest, TESCoreUtil::calcHashSum(QCoreApplication::applicationFilePath()));
        QVERIFY(TESCoreApp::appHashSum().constData() == digest.constData()); // Not made anew.
    }
};

int main(int argc, char **argv)
{
    const QString question = qEnvironmentVariable("TESCORE_QUESTION");
    if (question == s("early"))
        answers(question); // Without any arguments the flag is decided.
    QCoreApplication application(argc, argv);
    TestCore test;
    if (question.isEmpty())
        return QTest::qExec(&test, argc, argv);
    std::fputs(qUtf8Printable(answers(question)), stdout);
    return 0;
}
#include "test_core.moc"
