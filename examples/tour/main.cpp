// tour: one screen, of 80 columns and 24 lines with the prompt, that touches every family of the library.

#include <TesCore/TCoreType.h>
#include <TesCore/TESCoreUtil.h>
#include <TesCore/TESLocale.h>
#include <TesCore/TESProcess.h>
#include <TesCore/TESQuote.h>
#include <TesCore/TESTempFolder.h>
#include <TesCore/TTranslator.h>
#include <TesCore/TUuid.h>
#include <TesCore/TesCore.h>

#include <QCoreApplication>
#include <QTextStream>
#include <QThreadPool>

namespace {

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

/// A line of the screen; `room` is empty where it is that of the line above.
void line(const char *room, const char *name, const QString &value)
{
    const auto column = [](const char *text, int width) {
        return QString::fromLatin1(text).leftJustified(width);
    };
    out() << column(room, 8) << column(name, 20) << value << '\n';
}

void showCore()
{
    const QString name = TesCore::isAppTessarine() ? QStringLiteral("Tessarine") : QStringLiteral("another");
    line("core", "application", name + QStringLiteral(", ") + TesCore::supportEmail());
    line("", "user", TesCore::systemUsername() + QStringLiteral(" on ") + TesCore::operatingSystem());
    line("", "--greeting",
         TESCoreApp::appArgValue(QStringLiteral("greeting"), QStringLiteral("(not given)")));
    line("", "program's SHA-1", QString::fromLatin1(TESCoreApp::appHashSum().toHex()));
}

void showTypes()
{
    line("types", "size and alignment",
         TCoreType::toString(QSizeF(210, 297), 1) + QStringLiteral(" ") +
             TCoreType::toString(Qt::AlignCenter));
    line("", "ids", TCoreType::toString(TCoreType::splitToIds(QStringLiteral("7, 1-3, 5, 8"))));
    line("", "UUID", TUuid::toStringNoBraces(QUuid::createUuid(), true));
}

void showFiles()
{
    const TESTempFolder folder;
    const QString path = folder.path() + QStringLiteral("/note.txt");
    TESCoreUtil::WriteUnicodeTextFile(QStringLiteral("one\r\ntwo"), path);
    line("files", "written, read back",
         TESCoreUtil::ReadUnicodeTextFile(path, nullptr, nullptr, true)
             .replace(QLatin1Char('\n'), QLatin1String("\\n")));
    line("", "next free name", TESCoreUtil::GetUniqueFileName(path).mid(folder.path().size() + 1));
}

void showText()
{
    line("text", "encoded", TESCoreUtil::URLEncodePath(QStringLiteral("/a b/c#d")));
    line("", "sorted",
         TESCoreUtil::SortCaseInsensitive(QStringLiteral("b A a C").split(QLatin1Char(' ')))
             .join(QLatin1Char(' ')));
    QString marks;
    for (const auto &pair : TESQuote::doubleQuotes())
        marks += QString(pair.first) + pair.second + QLatin1Char(' ');
    line("", "double quotes", marks.trimmed());
}

void showLocale()
{
    const QStringList languages = TTranslator::tessarineGuiLanguages().keys();
    line("locale", "language",
         QStringLiteral("%1; on offer are %2, %3 and %4 others")
             .arg(TTranslator::defaultLanguage("Options/General/GuiLanguage"), languages.value(0),
                  languages.value(1), QString::number(languages.size() - 2)));
    line("", "countries",
         TESLocale::trCountryToString(QLocale::Germany) + QStringLiteral(", ") +
             TESLocale::trCountryToString(QLocale::Samoa));
}

void showProcess()
{
    out() << TESProcess::executeProcess(QStringLiteral("printf \"run to its end\"")).dump() << '\n';
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Tessarine"));
    TTranslator::install();
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    out().setCodec("UTF-8"); // what Qt 6 does by itself
#endif

    showCore();
    showTypes();
    showFiles();
    showText();
    showLocale();
    showProcess();

    out().flush();
    QThreadPool::globalInstance()->waitForDone(); // the temporary folder
    return 0;
}
