// The examples of the page "The language of the interface". Compiled with the tests.
#include <TesCore/TESLocale.h>
#include <TesCore/TTranslator.h>

#include <QCoreApplication>
#include <QDebug>

int start(int argc, char **argv)
{
    //! [install]
    QCoreApplication application(argc, argv);
    const QList<QTranslator *> installed = TTranslator::install(); // before the first translated text
    //! [install]
    return installed.isEmpty() ? 1 : 0;
}

void offerLanguages()
{
    //! [languages]
    const QMap<QString, QString> languages = TTranslator::tessarineGuiLanguages();
    for (auto language = languages.begin(); language != languages.end(); ++language)
        qInfo() << language.key() << language.value(); // "Deutsch" "de"
    //! [languages]
}

QString country()
{
    //! [country]
    return TESLocale::trCountryToString(QLocale::Germany); // "Germany", or what the translation says
    //! [country]
}
