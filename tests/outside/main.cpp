#include <TesCore/TCoreType.h>
#include <TesCore/TESCoreUtil.h>
#include <TesCore/TESFileUtil.h>
#include <TesCore/TESLocale.h>
#include <TesCore/TESProcess.h>
#include <TesCore/TESQuote.h>
#include <TesCore/TESTempFolder.h>
#include <TesCore/TTranslator.h>
#include <TesCore/TUuid.h>
#include <TesCore/TesCore.h>

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const TESTempFolder folder(false);
    const QString path = folder.path() + QLatin1String(".txt");
    const std::pair<const char *, bool> works[] = {
        {"TesCore.h", Tessarine::assert_ptr_what == &Tessarine::qt_atm_assert_what_impl},
        {"TESTempFolder.h", !path.isEmpty()},
        {"TESCoreUtil.h", TESCoreUtil::ConvertLineEndings(QLatin1String("a\r\n")) == QLatin1String("a\n")},
        {"TESQuote.h", TESQuote::isOpenQuote(TESQuote::doubleQuotes(QLocale::c()).first)},
        {"TESFileUtil.h", TESFileUtil::calcChecksum(path).isNull()},
        {"TCoreType.h", TCoreType::toString(QSet<int>{1, 2, 4}) == QLatin1String("1-2, 4")},
        {"TUuid.h", TUuid::toUuidList({TESCoreUtil::CreateUUID()}).first().version() == QUuid::Random},
        {"TESLocale.h", TESLocale::trCountryToString(QLocale::Cuba) == QLatin1String("Cuba")},
        {"TTranslator.h", TTranslator::plinketGuiLanguages().size() == 2},
        {"TESProcess.h", TESProcess::executeProcess(QLatin1String("true")).exitCode == 0},
    };
    int failures = 0;
    for (const auto &[header, does] : works)
        failures += !does && std::fprintf(stderr, "%s does not work\n", header) > 0;
    return failures;
}
