#include <TesCore/TesCore.h>

#include <QDebug>

namespace Tessarine {

// Initialised data: valid before any code of the process runs.
AssertReporter assert_ptr_what = &qt_atm_assert_what_impl;

void qt_atm_assert_what_impl(const char *function, const char *file, int line, const char *what)
{
    qWarning("ASSERT in function %s: \"%s\", file: \"%s\", line: \"%d\"", function, what, file, line);
}

void setCommandLineAssert()
{
    assert_ptr_what = &qt_atm_assert_what_impl;
}

} // namespace Tessarine
