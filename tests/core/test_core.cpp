#include <TesCore/TESCoreUtil.h>
#include <TesCore/TesCore.h>

#include <QCoreApplication>
#include <QProcess>
#include <QTest>
#include <QTranslator>

#include <cerrno>
#include <cstdio>

#include <pwd.h>
#include <unistd.h>

namespace {

int databaseError = 0;
bool hasEntry = false;

struct Translation : QTranslator
{
    QString translate(const char *context, const char *text, const char *comment, int) const override
    {
        return QLatin1String(context) + QLatin1Char('/') + QLatin1String(text) + QLatin1String(comment);
    }
};

/// What a process with the arguments in question says about one option.
QString answers(const QString &name)
{
    const QString value = TESCoreApp::appArgValue(name);
    QString found = value.isEmpty() ? QLatin1String(value.isNull() ? "null " : "empty ") : QString();
    found += TESCoreApp::appArgValue(name, QStringLiteral("en"));
    const int flags = 100 * TESCoreApp::appArgContains(name) + 10 * TESCoreApp::appArgStartsWith(name);
    return found + QStringLiteral(" %1 %2")
                       .arg(TESCoreApp::appArgInt(name, 7))
                       .arg(flags + TESCoreApp::appArgVerbose());
}

/// Runs this program as the process that answers.
QString ask(const QString &question, const QString &arguments)
{
    qputenv("TESCORE_QUESTION", question.toUtf8());
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels); // Nothing else may be written.
    process.start(QCoreApplication::applicationFilePath(), arguments.split(QLatin1Char(' ')));
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
        QCOMPARE(TesCore::systemUsername(), QStringLiteral("J\u00fcrgen"));
        databaseError = ERANGE;
        QVERIFY(TesCore::systemUsername().isNull());
        qputenv("USER", QStringLiteral("n\u00e9").toLocal8Bit());
        QCOMPARE(TesCore::systemUsernameEnv(), QString::fromLocal8Bit(qgetenv("USER")));
        QCOMPARE(TesCore::processIdToSessionId().toUInt(nullptr, 16), getuid());
        QCOMPARE(TesCore::operatingSystem(), QStringLiteral("Linux"));
        Translation translation;
        QCoreApplication::installTranslator(&translation);
        QCOMPARE(TesCore::operatingSystem(), QStringLiteral("QObject/Linux"));
    }

    void application()
    {
        for (const char *name : {"Tessarine", "Plinket", "tessarine", "Plinket 2"}) {
            QCoreApplication::setApplicationName(QLatin1String(name));
            QCOMPARE(TesCore::isAppTessarine(), !qstrcmp(name, "Tessarine"));
            QCOMPARE(TesCore::isAppPlinket(), !qstrcmp(name, "Plinket"));
            const char *host = TesCore::isAppPlinket() ? "plinket" : "tessarine";
            QCOMPARE(TesCore::supportEmail(), QStringLiteral("support@%1.example").arg(QLatin1String(host)));
        }
    }

    void commandLine_data()
    {
        for (const char *column : {"arguments", "name", "found"})
            QTest::addColumn<QString>(column);
        const auto row = [](const char *title, const char *arguments, const char *name, const char *found) {
            QTest::newRow(title) << QString::fromLatin1(arguments) << QString::fromLatin1(name)
                                 << QString::fromLatin1(found);
        };
        // Found: the value or "en", the integer or 7; 100 contains, 10 starts with, 1 verbose.
        row("first bare", "-lang=a --lang=b lang=c", "lang", "c 7 110");
        row("then with one dash", "--lang=b -lang=a", "lang", "a 7 110");
        row("dashes given are kept", "lang=c -lang=a", "--lang", "null en 7 100");
        row("the next argument", "--Width 80 -v", "WIDTH", "80 80 11");
        row("but no option", "--to -x --verbose", "--to", "null en 7 111");
        row("an empty value", "--lang= fr", "--lang=", "empty en 7 110");
        row("a negative number", "--N=-3 --verbose=1", "n", "-3 -3 110");
        row("the name goes everywhere", "--n=1--N=2", "n", "12 12 110");
        row("letters count when alone", "--foo -V -vv foo", "--Foo", "null en 7 10");
        row("a bare one with a value", "foo=1", "-foo", "null en 7 100");
        row("the program's own path", "80", "PROGRAM", "80 80 110");
        row("but not with a value", "-foo=1 -v=", "--Foo", "null en 7 100");
    }

    void commandLine()
    {
        QFETCH(QString, arguments);
        QFETCH(QString, name);
        name.replace(QStringLiteral("PROGRAM"), QCoreApplication::applicationFilePath());
        QTEST(ask(name, arguments), "found");
    }

    void flagAndDigestAreKept()
    {
        QCOMPARE(ask(QStringLiteral("early"), QStringLiteral("-v")), QStringLiteral("null en 7 0"));
        const QByteArray digest = TESCoreApp::appHashSum();
        QVERIFY(digest.size() == 20);
        QCOMPARE(digest, TESCoreUtil::calcHashSum(QCoreApplication::applicationFilePath()));
        QVERIFY(TESCoreApp::appHashSum().constData() == digest.constData()); // Not made anew.
    }
};

int main(int argc, char **argv)
{
    const QString question = qEnvironmentVariable("TESCORE_QUESTION");
    if (question == QLatin1String("early"))
        answers(question); // Without any arguments the flag is decided.
    QCoreApplication application(argc, argv);
    TestCore test;
    if (question.isEmpty())
        return QTest::qExec(&test, argc, argv);
    std::fputs(qUtf8Printable(answers(question)), stdout);
    return 0;
}
#include "test_core.moc"
