#ifndef TESCORE_TESLOCALE_H
#define TESCORE_TESLOCALE_H

/// \file TESLocale.h
/// The names of countries in the language of the interface.

#include <TesCore/TesCoreGlobal.h>

#include <QLocale>
#include <QString>

namespace TESLocale {

/// The name of `country`, as the installed translators have it in the context "TESLocale"; the English source
/// text when none has it. "Unknown Country" (translated likewise) for a country without a text, such as
/// QLocale::Guernsey, and for any other number.
///
///     QLocale::Germany          => "Germany"
///     QLocale::AnyCountry       => "AnyCountry"
///     QLocale::ChristmasIsland  => "Christma sIsland"
///
/// The source texts are keys, kept for the translations that exist: some are spelt unlike the usual names.
/// Reentrant; keeps no state.
TESCORE_EXPORT QString trCountryToString(QLocale::Country country);

} // namespace TESLocale

#endif
