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

namespace {

int failures = 0;

void check(bool holds, const char *what)
{
    if (holds)
        return;
    std::fprintf(stderr, "%s does not work\n", what);
    ++failures;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const TESTempFolder folder(false);
    const QString path = folder.path() + QLatin1String(".txt");
    check(Tessarine::assert_ptr_what == &Tessarine::qt_atm_assert_what_impl, "TesCore.h");
    check(!path.isEmpty(), "TESTempFolder.h");
    check(TESCoreUtil::ConvertLineEndings(QLatin1String("a\r\n")) == QLatin1String("a\n"), "TESCoreUtil.h");
    check(TESQuote::isOpenQuote(TESQuote::doubleQuotes(QLocale::c()).first), "TESQuote.h");
    check(TESFileUtil::calcChecksum(path).isNull(), "TESFileUtil.h");
    check(TCoreType::toString(QSet<int>{1, 2, 4}) == QLatin1String("1-2, 4"), "TCoreType.h");
    check(TUuid::toUuidList({TESCoreUtil::CreateUUID()}).first().version() == QUuid::Random, "TUuid.h");
    check(TESLocale::trCountryToString(QLocale::Cuba) == QLatin1String("Cuba"), "TESLocale.h");
    check(TTranslator::plinketGuiLanguages().size() == 2, "TTranslator.h");
    check(TESProcess::executeProcess(QLatin1String("true")).exitCode == 0, "TESProcess.h");
    return failures;
}
