#include <TesCore/TESCoreUtil.h>
#include <TesCore/TUuid.h>

#include <algorithm>
#include <iterator>

namespace {

template <typename Text>
Text cased(Text text, bool upperCase)
{
    return upperCase ? std::move(text).toUpper() : text;
}

template <typename Result, typename Source, typename Convert>
Result converted(const Source &source, Convert convert)
{
    Result result;
    result.reserve(source.size());
    std::transform(source.begin(), source.end(), std::back_inserter(result), convert);
    return result;
}

} // namespace

namespace TESCoreUtil {

QString CreateUUID()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

} // namespace TESCoreUtil

namespace TUuid {

QString toStringNoBraces(const QUuid &uuid, bool upperCase)
{
    return cased(uuid.toString(QUuid::WithoutBraces), upperCase);
}

QByteArray toByteArrayNoBraces(const QUuid &uuid, bool upperCase)
{
    return cased(uuid.toByteArray(QUuid::WithoutBraces), upperCase);
}

QList<QUuid> toUuidList(const QList<QString> &strings)
{
    return converted<QList<QUuid>>(strings, [](const QString &text) { return QUuid(text); });
}

QStringList toStringListNoBraces(const QList<QUuid> &uuids, bool upperCase)
{
    return converted<QStringList>(uuids,
                                  [=](const QUuid &uuid) { return toStringNoBraces(uuid, upperCase); });
}

QStringList toStringNoBraces(const QList<QUuid> &uuids, bool upperCase)
{
    return toStringListNoBraces(uuids, upperCase);
}

QStringList toStringList(const QList<QUuid> &uuids, bool upperCase)
{
    return converted<QStringList>(uuids,
                                  [=](const QUuid &uuid) { return cased(uuid.toString(), upperCase); });
}

} // namespace TUuid
