#ifndef TESCORE_TESCORE_H
#define TESCORE_TESCORE_H

/// \file TesCore.h
/// Who runs, where, and with which command line: the assertion hook (`Tessarine`), the identity of
/// application, user and platform (`TesCore`) and the command line (`TESCoreApp`).
///
/// \code
/// if (TESCoreApp::appArgContains(QStringLiteral("help")))
///     showHelp(TesCore::supportEmail());
/// const int width = TESCoreApp::appArgInt(QStringLiteral("width"), 80);
/// \endcode
///
/// QCoreApplication must exist for isAppTessarine(), isAppPlinket(), supportEmail() and all of `TESCoreApp`.
/// Without it the argument list counts as empty.
///
/// All functions are reentrant and keep no state, except where they say so.

#include <TesCore/TesCoreGlobal.h>

#include <QByteArray>
#include <QString>

/// The hook through which the applications' assertion checks report.
namespace Tessarine {

/// What is called when an assertion fails: the function, the source file, the line and the asserted text.
using AssertReporter = void (*)(const char *function, const char *file, int line, const char *what);

/// Reports a failed assertion as one warning through Qt's message handler and returns to its caller:
/// `ASSERT in function save: "n > 0", file: "document.cpp", line: "42"`.
TESCORE_EXPORT void qt_atm_assert_what_impl(const char *function, const char *file, int line,
                                            const char *what);

/// The reporter that assertion checks call. Holds qt_atm_assert_what_impl() from the moment the library is
/// loaded; an application may store a function of its own, or null. The library itself never calls it. A
/// plain pointer without a lock: set it before other threads report.
TESCORE_EXPORT extern AssertReporter assert_ptr_what;

/// Puts qt_atm_assert_what_impl() back into #assert_ptr_what. Not synchronised with threads that report.
TESCORE_EXPORT void setCommandLineAssert();

} // namespace Tessarine

/// Which application runs, on which platform, for which user. Nothing is kept between calls.
namespace TesCore {

/// The platform's name, "Linux", translated in the context "QObject".
TESCORE_EXPORT QString operatingSystem();

/// The login name of the process's real user, from the user database. A null string when the user has no
/// entry there, or one with more than 1024 bytes of text.
TESCORE_EXPORT QString systemUsername();

/// The environment variable "USER", decoded as the locale says; empty when it is not set.
TESCORE_EXPORT QString systemUsernameEnv();

/// The real user id in lower-case hexadecimal, which stands for the session: 1000 => "3e8".
TESCORE_EXPORT QString processIdToSessionId();

/// Whether QCoreApplication::applicationName() is exactly "Tessarine".
TESCORE_EXPORT bool isAppTessarine();

/// Whether QCoreApplication::applicationName() is exactly "Plinket".
TESCORE_EXPORT bool isAppPlinket();

/// The e-mail address of the running application's support; Tessarine's for an application of another name.
TESCORE_EXPORT QString supportEmail();

} // namespace TesCore

/// The command line, `QCoreApplication::arguments()`. The program's own path, which comes first, is searched
/// like any other argument.
///
/// A name is searched as given; if that finds nothing, with "-" before it, and then with "--". One that has
/// dashes already is not tried with fewer. The first of these searches to find something decides:
///
///     lang=fr --lang=de, name "lang"       => "fr"
///     -lang=a --lang=b, name "lang"        => "a"
///     -lang=a --lang=b, name "--lang"      => "b"
namespace TESCoreApp {

/// Whether "-v" or "--verbose" is an argument, spelled exactly so, at the time of the first call. Builds a
/// cache on first use; safe from any thread.
TESCORE_EXPORT bool appArgVerbose();

/// The value given to the option `name`, whose letters match in either case. A null string when it is not
/// given.
///
///     --lang=de_DE                         => "de_DE"
///     --lang de_DE                         => "de_DE"
///     --lang -x                            => null: a value does not begin with a dash
///     --lang=                              => empty, not null
///     --lang=a--LANG=b                     => "ab": the option's name is removed wherever it occurs
///
/// A `name` may end with "="; then only the forms with "=" match.
TESCORE_EXPORT QString appArgValue(QString name);

/// The same, with `defaultValue` in place of a value that is missing or empty.
TESCORE_EXPORT QString appArgValue(QString name, QString defaultValue);

/// The value given to the option `name` as a decimal integer; `defaultValue` when it is missing or no `int`.
///
///     --n=-3                               => -3
///     --n=abc                              => the default
TESCORE_EXPORT int appArgInt(QString name, int defaultValue);

/// The SHA-1 digest (RFC 3174) of the program's file, 20 raw bytes, as it was at the first call; empty when
/// the file could not be read then. Builds a cache on first use; safe from any thread.
TESCORE_EXPORT QByteArray appHashSum();

/// Whether an argument begins with `prefix`, in either case.
TESCORE_EXPORT bool appArgStartsWith(QString prefix);

/// Whether the option `name` is given: alone, in exactly these letters, or with "=" and a value, in either
/// case and after any number of dashes up to two.
///
///     --foo, name "--Foo"                  => false
///     -foo=1, name "--Foo"                 => true
TESCORE_EXPORT bool appArgContains(QString name);

} // namespace TESCoreApp

#endif
