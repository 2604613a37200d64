#include <TesCore/TESLocale.h>
#include <TesCore/TTranslator.h>

#include "countries.h"

#include <support/tree.h>

#include <QtTest>

namespace {

/// What this program does as its own child, installed in a folder "bin": tells the language that was chosen,
/// the catalogues that were found for the names behind "--", and a country's name in them.
int tellChoice()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Org"));
    QDir::setSearchPaths(QStringLiteral("images"), {QDir::currentPath()});
    const QStringList names = QCoreApplication::arguments();
    QStringList told{TTranslator::defaultLanguage("Options/General/GuiLanguage")};
    const QList<QTranslator *> installed =
        TTranslator::install(names.mid(names.indexOf(QLatin1String("--")) + 1));
    for (const QTranslator *translator : installed)
        told.append(QFileInfo(translator->filePath()).fileName());
    told.append(TESLocale::trCountryToString(QLocale::Cuba));
    return fputs(qPrintable(told.join(QLatin1Char(' '))), stdout) < 0;
}

/// The translators' template with "Cuba" filled in and `context` in place of its context, compiled.
int compileCatalogue(const char *context, const char *name)
{
    const QString line = QStringLiteral("sed '/Cuba</{n;s,translation .*,translation>Kuba</translation>,};"
                                        "s/TESLocale/%1/' " TRANSLATION_TEMPLATE " >filled.ts && " LRELEASE
                                        " -silent filled.ts -qm %2");
    return std::system(qPrintable(line.arg(QLatin1String(context), QLatin1String(name))));
}

/// The texts in the translators' template, each behind its context.
QStringList templateTexts()
{
    QFile file(QStringLiteral(TRANSLATION_TEMPLATE));
    file.open(QIODevice::ReadOnly);
    QXmlStreamReader reader(&file);
    QString context;
    QStringList texts;
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.name() == QLatin1String("name") && reader.isStartElement())
            context = reader.readElementText();
        else if (reader.name() == QLatin1String("source") && reader.isStartElement())
            texts.append(context + QLatin1String(": ") + reader.readElementText());
    }
    texts.sort();
    return texts;
}

} // namespace

class TestLocale : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void languageAndCataloguesAreChosen_data()
    {
        QTest::addColumn<QByteArray>("row"); // arguments | setting | system | files | told
        const auto row = [](const char *name, const QByteArray &cells) { QTest::newRow(name) << cells; };
        row("the option wins", "--lang=FR -- | de | C | app_fr.qm app_de.qm qt | fr qt app_fr.qm Kuba");
        row("then the setting",
            "-- | zh_cn | C | qt app_zh_cn.qm app_zh_cn.qm.qm | zh_cn qt app_zh_cn.qm.qm Kuba");
        row("a list in the settings is no choice", "-- | de,fr | fr_FR | qt qt.qm qt_fr | fr_fr qt_fr Kuba");
        row("no preview by the system", "-- | | el_CY | qt_el.qm | en_us Cuba");
        row("an invalid file ends the search", "--lang=de -- | | C | translations/qt_de.qm=no qt | de Cuba");
        row("another context does not count", "--lang=de -- | | C | translations/qt->../other | de qt Cuba");
        row("names keep their places", "--lang=de -- a%2 qt | | C | qt app a%2 | de app a%2 qt Kuba");
        row("no way out", "--lang=/../../cuba_x -- | | C | translations/qt_/ qt | /../../cuba_x qt Kuba");
        row("nor by a name", "-- images:cuba ../cuba | de | C | images:cuba | de images:cuba Kuba");
        const QByteArray line(100000, '_');
        row("a long option takes no time", "--lang=" + line + " -- | | C | qt.qm | " + line + " qt.qm Kuba");
    }

    void languageAndCataloguesAreChosen()
    {
        QFETCH(QByteArray, row);
        const auto cell = [&](int i) { return QString::fromLatin1(row.split('|').value(i).trimmed()); };
        QString words = QStringLiteral("bin/ translations/ Org/ Org/app.x.conf=[Options]\nGeneral\\Gui");
        words += QStringLiteral("Language=") + cell(1);
        const QStringList files = cell(3).split(QLatin1Char(' '));
        for (const QString &file : files)
            words += QLatin1String(file.contains(QLatin1Char('/')) ? " %1" : " translations/%1->../cuba")
                         .arg(file);
        const Tree tree(words);
        QVERIFY(compileCatalogue("TESLocale", "cuba") == 0);
        QVERIFY(compileCatalogue("Other", "other") == 0);
        QVERIFY(QFile::copy(QCoreApplication::applicationFilePath(), QStringLiteral("bin/app.x")));

        QProcess app;
        const QString line = QStringLiteral("XDG_CONFIG_HOME=%1 LC_ALL=%2 bin/app.x --child %3");
        app.start(QStringLiteral("env"), line.arg(tree.path(), cell(2), cell(0)).split(QLatin1Char(' ')));
        QVERIFY(app.waitForFinished(3000));
        QCOMPARE(QString::fromLatin1(app.readAllStandardOutput()), cell(4));
    }

    void languagesAreOffered()
    {
        const QMap<QString, QString> languages = TTranslator::tessarineGuiLanguages();
        QString codes;
        for (const QString &code : languages)
            codes += code + QLatin1Char(' ');
        QCOMPARE(codes, QLatin1String(
                            "bg ca da nl en fr de el it ja ko pt ru scifi sl es_mx es_es  tr zh_cn zh_tw "));
        QCOMPARE(languages.lastKey(), QString::fromUtf8("\u7e41\u9ad4\u4e2d\u6587 (\u53f0\u7063)"));
        QVERIFY(languages.value(QStringLiteral("System Language"), QStringLiteral("missing")).isNull());
        QCOMPARE(TTranslator::plinketGuiLanguages().size(), 2);

        QList<QLocale> previews;
        for (int language = 0; language <= QLocale::LastLanguage; ++language)
            if (const QLocale locale{QLocale::Language(language)}; TTranslator::isPreviewLocale(locale))
                previews.append(locale);
        QCOMPARE(TTranslator::toString(previews),
                 QLatin1String("Danish, Dutch, Greek, Japanese, Russian, Slovenian"));
    }

    void programInTheRootFolderIsItsOwnNeighbour()
    {
        const QString enter = QStringLiteral("unshare -rm sh -c 'mount --rbind /proc proc && %1'");
        const Tree tree(QStringLiteral("proc/"));
        if (std::system(qPrintable(enter.arg(QStringLiteral("true")))) != 0)
            QSKIP("Needs namespaces of its own.");
        QVERIFY(QFile::copy(QCoreApplication::applicationFilePath(), QStringLiteral("app")));
        QCOMPARE(std::system("ldd app | grep -o '/[^ ]*' | xargs cp --parents -Lt ."), 0);
        // The sanitizer's options name a file that is not in there.
        const QString app = QStringLiteral("env -u TSAN_OPTIONS chroot . /app --folder");
        const QString run = enter.arg(QStringLiteral("test \"$(%1)\" = /translations").arg(app));
        QCOMPARE(std::system(qPrintable(run)), 0);
    }

    void namesWithNulAreLeftOut()
    {
        const QString plain = QStringLiteral("de");
        const QString odd = plain + QChar::Null + QStringLiteral("_x");
        QVERIFY(TTranslator::install(plain, odd, plain, {}).isEmpty());
        QVERIFY(TTranslator::install(plain, plain, odd, {}).isEmpty());
    }

    void countriesKeepTheirTexts()
    {
        const auto countries = QMetaEnum::fromType<QLocale::Country>();
        QMap<QString, bool> texts; // whether it is the enumerator's name but for blanks, as most are
        for (int i = 0; i < countries.keyCount(); ++i) {
            const QString text = TESLocale::trCountryToString(QLocale::Country(countries.value(i)));
            texts[text] |= QString(text).remove(QLatin1Char(' ')) == QLatin1String(countries.key(i));
        }
        QStringList others; // those whose text is not the enumerator's name
        for (const QLocale::Country country :
             {QLocale::Brunei, QLocale::Laos, QLocale::Libya, QLocale::NauruCountry,
              QLocale::PalestinianTerritories, QLocale::SaintHelena, QLocale::SaintLucia,
              QLocale::SaintPierreAndMiquelon, QLocale::SaintVincentAndTheGrenadines, QLocale::TokelauCountry,
              QLocale::TuvaluCountry, QLocale::UnitedStatesVirginIslands, QLocale::Vietnam})
            others.append(TESLocale::trCountryToString(country));
        QCOMPARE(others.join(QLatin1String(", ")),
                 QLatin1String(
                     "Brunei Darussalam, Lao, LibyanArabJamahiriya, Nauru, Palestinian Territory, St Helena, "
                     "StLucia, St Pierre And Miquelon, St Vincent And The Grenadines, Tokelau, Tuvalu, "
                     "US Virgin Islands, VietNam"));
        const QString unknown = QStringLiteral("Unknown Country");
        for (const int number : {-1, int(QLocale::Guernsey), int(QLocale::CuraSao), 1000})
            QCOMPARE(TESLocale::trCountryToString(QLocale::Country(number)), unknown);
        texts.remove(unknown);
        for (const QString &text : std::as_const(others))
            texts[text] = true;
        QCOMPARE(texts.key(false), QString());
        QCOMPARE(texts.size(), 243);

        QStringList expected;
        const QStringList countryTexts = QString::fromLatin1(kCountryTexts).split(QLatin1Char('|'));
        for (const QString &text : countryTexts)
            expected.append(QLatin1String("TESLocale: ") + text);
        expected.append(QStringLiteral("TESLocale: Unknown Country"));
        for (const char *text :
             {"Linux", "Could not write all data to file", "%1 (Preview Available)", "Preview Available",
              "%1 (Spain)", "%1 (Latin America)", "System Language", "Science Fiction"})
            expected.append(QLatin1String("QObject: ") + QLatin1String(text));
        expected.sort();
        QCOMPARE(templateTexts(), expected);
        for (auto text = texts.constBegin(); text != texts.constEnd(); ++text)
            QVERIFY2(expected.contains(QLatin1String("TESLocale: ") + text.key()), qPrintable(text.key()));
    }
};

int main(int argc, char **argv)
{
    qputenv("QT_FATAL_WARNINGS", "1"); // nothing here may make Qt warn
    const QCoreApplication application(argc, argv);
    if (argc > 1 && qstrcmp(argv[1], "--folder") == 0)
        return puts(qPrintable(TTranslator::defaultTranslationPath())) < 0;
    if (argc > 1 && qstrcmp(argv[1], "--child") == 0)
        return tellChoice();
    TestLocale test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_locale.moc"
