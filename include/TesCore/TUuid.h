#ifndef TESCORE_TUUID_H
#define TESCORE_TUUID_H

/// \file TUuid.h
/// UUIDs (RFC 4122) and lists of them as text. TESCoreUtil::CreateUUID() makes a new one.
///
///     QUuid()                              => "00000000-0000-0000-0000-000000000000"
///
/// The braceless form has 36 characters, the braced form "{" and "}" around them. Hexadecimal letters are in
/// lower case unless `upperCase` is set. Each list has the length and order of the list that it is made of.
/// Everything here is reentrant and keeps no state.

#include <TesCore/TesCoreGlobal.h>

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUuid>

namespace TUuid {

/// The braceless form of `uuid`. Reentrant; keeps no state.
TESCORE_EXPORT QString toStringNoBraces(const QUuid &uuid, bool upperCase = false);

/// The braceless form of `uuid` in 8-bit characters. Reentrant; keeps no state.
TESCORE_EXPORT QByteArray toByteArrayNoBraces(const QUuid &uuid, bool upperCase = false);

/// The UUIDs in `strings`, each in braced or braceless form. What is no UUID becomes the null UUID.
/// Reentrant; keeps no state.
TESCORE_EXPORT QList<QUuid> toUuidList(const QList<QString> &strings);

/// The braceless forms of `uuids`. Reentrant; keeps no state.
TESCORE_EXPORT QStringList toStringListNoBraces(const QList<QUuid> &uuids, bool upperCase = false);

/// The same as toStringListNoBraces(). Reentrant; keeps no state.
TESCORE_EXPORT QStringList toStringNoBraces(const QList<QUuid> &uuids, bool upperCase = false);

/// The braced forms of `uuids`. Reentrant; keeps no state.
TESCORE_EXPORT QStringList toStringList(const QList<QUuid> &uuids, bool upperCase = false);

} // namespace TUuid

#endif
