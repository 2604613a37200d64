#ifndef TESCORE_TESCORE_H
#define TESCORE_TESCORE_H

/// \file TesCore.h
/// Who runs, where, and with which command line: the assertion hook (`Tessarine`), the identity of
/// application, user and platform (`TesCore`) and the command line (`TESCoreApp`).

#include <TesCore/TesCoreGlobal.h>

/// The hook through which the applications' assertion checks report.
namespace Tessarine {

/// What is called when an assertion fails: the function, the source file, the line and the asserted text.
using AssertReporter = void (*)(const char *function, const char *file, int line, const char *what);

/// Reports a failed assertion as one warning through Qt's message handler and returns to its caller:
/// `ASSERT in function save: "n > 0", file: "document.cpp", line: "42"`.
/// Reentrant; keeps no state.
TESCORE_EXPORT void qt_atm_assert_what_impl(const char *function, const char *file, int line,
                                            const char *what);

/// The reporter that assertion checks call. Holds qt_atm_assert_what_impl() from the moment the library is
/// loaded; an application may store a function of its own, or null. The library itself never calls it. A
/// plain pointer without a lock: set it before other threads report.
TESCORE_EXPORT extern AssertReporter assert_ptr_what;

/// Puts qt_atm_assert_what_impl() back into #assert_ptr_what. Not synchronised with threads that report.
TESCORE_EXPORT void setCommandLineAssert();

} // namespace Tessarine

#endif
