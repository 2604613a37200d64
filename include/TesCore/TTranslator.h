#ifndef TESCORE_TTRANSLATOR_H
#define TESCORE_TTRANSLATOR_H

/// \file TTranslator.h
/// The language of the interface: which ones are offered, which one is chosen, and its catalogues.
///
/// \code
/// QCoreApplication application(argc, argv);
/// TTranslator::install(); // "qt_fr.qm" and "tessarine_fr.qm" for "--lang=fr"
/// \endcode
///
/// Catalogues are compiled Qt translation files (.qm), one for each catalogue name and language. A language
/// code is a language, or a language and a region, in lower case: "fr", "zh_cn". The application object must
/// exist before any function but those of the last group is called. All functions are reentrant and keep no
/// state.

#include <TesCore/TesCoreGlobal.h>

#include <QList>
#include <QLocale>
#include <QMap>
#include <QString>
#include <QStringList>

class QTranslator;

namespace TTranslator {

/// \name Installation
/// On the thread of the application object.
/// \{

/// Installs the catalogues "qt" and defaultTarget() in the chosen language: the next function without names.
TESCORE_EXPORT QList<QTranslator *> install();

/// Installs the catalogues `targets` as the next function does, with defaultTarget(), the defaultLanguage()
/// of the setting "Options/General/GuiLanguage", and defaultTranslationPath().
TESCORE_EXPORT QList<QTranslator *> install(const QStringList &targets);

/// Loads the catalogues `targets` from the folder `path` and installs them in the application. `target`, and
/// then "qt", are put in front of the names unless they are among them. The translators that were installed,
/// in this order; each is a child of the application object. A catalogue that is missing or invalid is
/// skipped. Earlier translators stay installed.
///
/// The file of a catalogue is searched as by QTranslator::load() with the delimiter "_". The first of these
/// that is a readable file is loaded, and no other:
///
///     qt, de_de  => qt_de_de.qm.qm, qt_de_de.qm, qt_de.qm, qt_de, qt.qm, qt
///
/// A name with "/" or a NUL character, and one longer than a file name can be, is left out, so that nothing
/// outside of `path` is opened, whatever the language was read from.
TESCORE_EXPORT QList<QTranslator *> install(const QString &target, const QString &language,
                                            const QString &path, const QStringList &targets);

/// The chosen language in lower case. The first of these that is not empty: the value of the command-line
/// option "--lang" (TESCoreApp::appArgValue()), the value of `settingsKey` (Latin-1; may be null or empty) in
/// a default QSettings, the system locale's name. In place of a preview language (isPreviewLocale()) the
/// system gives "en_us".
TESCORE_EXPORT QString defaultLanguage(const char *settingsKey);

/// The name of the program file up to its first ".".
TESCORE_EXPORT QString defaultTarget();

/// The absolute path of the folder "translations" beside the program's folder.
///
///     /opt/app/bin/app  => /opt/app/translations
///     /app              => /translations
TESCORE_EXPORT QString defaultTranslationPath();

/// The system locale's name, such as "de_DE".
TESCORE_EXPORT QString systemGuiLanguageCode();

/// \}
/// \name The languages on offer
/// Each call builds its result afresh, in the interface language of the moment (context "QObject").
/// \{

/// The interface languages of Tessarine: display name => language code. The entry "System Language" has a
/// null string, which as a setting leaves the choice to the system.
TESCORE_EXPORT QMap<QString, QString> tessarineGuiLanguages();

/// The interface languages of Plinket, in the same form.
TESCORE_EXPORT QMap<QString, QString> plinketGuiLanguages();

/// Whether Tessarine offers the locale's language, whatever the country, only as a preview.
TESCORE_EXPORT bool isPreviewLocale(const QLocale &locale);

/// The English names of the locales' languages, in order, joined by ", ".
TESCORE_EXPORT QString toString(const QList<QLocale> &locales);

/// \}

} // namespace TTranslator

#endif
