#include <TesCore/TesCore.h>

#include <QCoreApplication>

#include <pwd.h>
#include <unistd.h>

namespace {

constexpr char tessarineSupport[] = "support@tessarine.example";
constexpr char plinketSupport[] = "support@plinket.example";

} // namespace

namespace TesCore {

QString operatingSystem()
{
    return QObject::tr("Linux");
}

QString systemUsername()
{
    passwd record = {};
    passwd *found = nullptr;
    char strings[1024];
    // Without an entry the call succeeds and need not touch the record: only the result pointer tells.
    if (getpwuid_r(getuid(), &record, strings, sizeof strings, &found) != 0 || !found)
        return QString();
    return QString::fromLatin1(found->pw_name);
}

QString systemUsernameEnv()
{
    return QString::fromLocal8Bit(qgetenv("USER"));
}

QString processIdToSessionId()
{
    return QString::number(getuid(), 16);
}

bool isAppTessarine()
{
    return QCoreApplication::applicationName() == QLatin1String("Tessarine");
}

bool isAppPlinket()
{
    return QCoreApplication::applicationName() == QLatin1String("Plinket");
}

QString supportEmail()
{
    return QLatin1String(!isAppTessarine() && isAppPlinket() ? plinketSupport : tessarineSupport);
}

} // namespace TesCore
