// tour: one screen that touches every family of the library.

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

void line(const char *name, const QString &value)
{
    out() << "  " << QString::fromLatin1(name).leftJustified(20) << value << '\n';
}

void showIdentity()
{
    out() << "Who and where\n";
    line("application", TesCore::isAppTessarine() ? QStringLiteral("Tessarine") : QStringLiteral("another"));
    line("support", TesCore::supportEmail());
    line("user", TesCore::systemUsername() + QStringLiteral(" on ") + TesCore::operatingSystem());
    line("--greeting", TESCoreApp::appArgValue(QStringLiteral("greeting"), QStringLiteral("(not given)")));
    line("program's SHA-1", QString::fromLatin1(TESCoreApp::appHashSum().toHex()));
}

void showStoredText()
{
    out() << "Stored text\n";
    line("size", TCoreType::toString(QSizeF(210, 297), 1));
    line("ids", TCoreType::toString(TCoreType::splitToIds(QStringLiteral("7, 1-3, 5, 8"))));
    line("alignment", TCoreType::toString(Qt::AlignCenter));
    line("UUID", TESCoreUtil::CreateUUID());
}

void showFilesAndText()
{
    out() << "Files and text\n";
    const TESTempFolder folder;
    const QString path = folder.path() + QStringLiteral("/note.txt");
    TESCoreUtil::WriteUnicodeTextFile(QStringLiteral("one\r\ntwo"), path);
    line("written, read back", TESCoreUtil::ReadUnicodeTextFile(path, nullptr, nullptr, true)
                                   .replace(QLatin1Char('\n'), QLatin1String("\\n")));
    line("next free name", TESCoreUtil::GetUniqueFileName(path).mid(folder.path().size() + 1));
    line("encoded", TESCoreUtil::URLEncodePath(QStringLiteral("/a b/c#d")));
    line("sorted", TESCoreUtil::SortCaseInsensitive(QStringLiteral("b A a C").split(QLatin1Char(' ')))
                       .join(QLatin1Char(' ')));
    QString marks;
    for (const auto &pair : TESQuote::doubleQuotes())
        marks += QString(pair.first) + pair.second + QLatin1Char(' ');
    line("double quotes", marks);
}

void showLanguages()
{
    out() << "Languages and countries\n";
    line("offered",
         QStringList(TTranslator::tessarineGuiLanguages().keys()).mid(0, 6).join(QLatin1String(", ")));
    line("chosen", TTranslator::defaultLanguage("Options/General/GuiLanguage"));
    line("countries", TESLocale::trCountryToString(QLocale::Germany) + QStringLiteral(", ") +
                          TESLocale::trCountryToString(QLocale::Samoa));
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

    showIdentity();
    showStoredText();
    showFilesAndText();
    showLanguages();
    out() << "A program, run to its end\n"
          << TESProcess::executeProcess(QStringLiteral("uname -sm")).dump() << '\n';

    out().flush();
    QThreadPool::globalInstance()->waitForDone(); // the temporary folder
    return 0;
}
