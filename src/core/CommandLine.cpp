#include <TesCore/TESCoreUtil.h>
#include <TesCore/TesCore.h>

#include <base/qtcompat_p.h>

#include <QCoreApplication>

#include <algorithm>
#include <optional>
#include <utility>

namespace {

/// Empty without an application object, of which Qt would complain.
QStringList arguments()
{
    return QCoreApplication::instance() ? QCoreApplication::arguments() : QStringList();
}

QString programFile()
{
    return QCoreApplication::instance() ? QCoreApplication::applicationFilePath() : QString();
}

bool hasTwoDashes(const QString &name)
{
    return name.startsWith(QLatin1String("--"));
}

/// What `search` finds for the name as it is, else with one more dash, and so on up to two dashes: at most
/// three searches.
template <typename Search>
auto widened(QString name, Search search) -> decltype(search(name))
{
    for (;; name.prepend(QLatin1Char('-'))) {
        if (auto found = search(name); found || hasTwoDashes(name))
            return found;
    }
}

std::optional<QString> findValue(const QStringList &list, const QString &name)
{
    const QString key = name.endsWith(QLatin1Char('=')) ? name : name + QLatin1Char('=');
    for (auto argument = list.begin(); argument != list.end(); ++argument) {
        const QString lowered = argument->toLower();
        if (lowered.startsWith(key))
            return QString(*argument).remove(key, Qt::CaseInsensitive);
        const auto next = argument + 1;
        if (lowered == name && next != list.end() && !next->startsWith(QLatin1Char('-')))
            return *next;
    }
    return std::nullopt;
}

} // namespace

namespace TESCoreApp {

bool appArgVerbose()
{
    static const bool verbose =
        arguments().contains(QLatin1String("-v")) || arguments().contains(QLatin1String("--verbose"));
    return verbose;
}

QString appArgValue(QString name)
{
    const QStringList list = arguments();
    const auto search = [&](const QString &candidate) { return findValue(list, candidate); };
    return widened(std::move(name).toLower(), search).value_or(QString());
}

QString appArgValue(QString name, QString defaultValue)
{
    QString value = appArgValue(std::move(name));
    return value.isEmpty() ? std::move(defaultValue) : value;
}

int appArgInt(QString name, int defaultValue)
{
    bool ok = false;
    const int value = TesCoreBase::toInt(appArgValue(std::move(name)), &ok);
    return ok ? value : defaultValue;
}

QByteArray appHashSum()
{
    static const QByteArray digest = TESCoreUtil::calcHashSum(programFile());
    return digest;
}

bool appArgStartsWith(QString prefix)
{
    const QStringList list = arguments();
    return widened(std::move(prefix).toLower(), [&](const QString &candidate) {
        return std::any_of(list.begin(), list.end(), [&](const QString &argument) {
            const QString lowered = argument.toLower(); // which some letters outgrow
            return lowered.startsWith(candidate);
        });
    });
}

bool appArgContains(QString name)
{
    const QStringList list = arguments();
    if (widened(name, [&](const QString &candidate) { return list.contains(candidate); }))
        return true;

    // Given with a value? Of the dashes the widening ends with, two do not count.
    while (!hasTwoDashes(name))
        name.prepend(QLatin1Char('-'));
    return appArgStartsWith(name.mid(2) + QLatin1Char('='));
}

} // namespace TESCoreApp
