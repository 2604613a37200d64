// The examples of the page "Who runs, with which command line". Compiled with the tests.
#include <TesCore/TesCore.h>

#include <QDebug>

//! [assertion]
#define APP_ASSERT(condition)                                                                                \
    ((condition) || !Tessarine::assert_ptr_what                                                              \
         ? void()                                                                                            \
         : Tessarine::assert_ptr_what(static_cast<const char *>(__func__), __FILE__, __LINE__, #condition))
//! [assertion]

void greet()
{
    //! [identity]
    QString user = TesCore::systemUsername();
    if (user.isNull()) // no entry in the user database, as in many containers
        user = TesCore::systemUsernameEnv();
    qInfo().noquote() << user << "on" << TesCore::operatingSystem() << "- help:" << TesCore::supportEmail();
    //! [identity]
}

int exportWidth()
{
    //! [options]
    // export --width=120 --verbose, export -width 120 -v, ...
    const int width = TESCoreApp::appArgInt(QStringLiteral("width"), 80);
    if (TESCoreApp::appArgVerbose())
        qInfo() << "width" << width;
    //! [options]
    APP_ASSERT(width > 0);
    return width;
}
