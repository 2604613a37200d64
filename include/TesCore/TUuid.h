#ifndef TESCORE_TUUID_H
#define TESCORE_TUUID_H

/// \file TUuid.h
/// UUIDs (RFC 4122) and lists of them as text. TESCoreUtil::CreateUUID() makes a new one.
///
///     QUuid()                              => "00000000-0000-0000-0000-000000000000"
///
/// The braceless form has 36 characters, the braced form "{" and "}" around them. Hexadecimal letters are in
/// lower case unless `upperCase` is set. Each list has the length and order of the list that it is made of.
/// Reentrant; keeps no state.

#include <TesCore/TesCoreGlobal.h>

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUuid>

namespace TUuid {

/// The braceless form of `uuid`.
TESCORE_EXPORT QString toStringNoBraces(const QUuid &uuid, bool upperCase = false);

/// The braceless form of `uuid` in 8-bit characters.
TESCORE_EXPORT QByteArray toByteArrayNoBraces(const QUuid &uuid, bool upperCase = false);

/// The UUIDs in `strings`, each as the constructor of QUuid reads it: an optional "{", then the braceless
/// form in any letter case; anything may follow. Any other text gives the null UUID.
///
///     "{00112233-4455-6677-8899-AABBCCDDEEFF}"      => the UUID
///     "00112233-4455-6677-8899-aabbccddeeff, old"   => the same one
///     " 00112233-4455-6677-8899-aabbccddeeff"       => null, as for every other character in front
///     "00112233445566778899aabbccddeeff"            => null: the hyphens must stand
TESCORE_EXPORT QList<QUuid> toUuidList(const QList<QString> &strings);

/// The braceless forms of `uuids`.
TESCORE_EXPORT QStringList toStringListNoBraces(const QList<QUuid> &uuids, bool upperCase = false);

/// The same as toStringListNoBraces().
TESCORE_EXPORT QStringList toStringNoBraces(const QList<QUuid> &uuids, bool upperCase = false);

/// The braced forms of `uuids`.
TESCORE_EXPORT QStringList toStringList(const QList<QUuid> &uuids, bool upperCase = false);

} // namespace TUuid

#endif
