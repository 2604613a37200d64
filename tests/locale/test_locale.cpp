#include <TesCore/TESLocale.h>
#include <TesCore/TTranslator.h>

#include <support/tree.h>

#include <QtTest>

namespace {

/// What this program does as its own child, installed in a folder "bin": tells the language that was chosen,
/// the catalogues that were found for the names behind "--", and a country's name in them.
int tellChoice()
{
    QCoreApplication::setOrganizationName(text("Org"));
    QDir::setSearchPaths(text("images"), {QDir::currentPath()});
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
    const QString line = text("sed '/Cuba</{n;s,translation "
                              ".*,translation>Kuba</translation>,};s/TESLocale/%1/' " TRANSLATION_TEMPLATE
                              " >filled.ts && " LRELEASE " -silent filled.ts -qm %2");
    return std::system(qPrintable(line.arg(text(context), text(name))));
}

} // namespace

class TestLocale : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void languageAndCataloguesAreChosen()
    {
        const QByteArray line(100000, '_'); // takes no time
        for (const QByteArray &row :
             {// arguments | setting | system | files | told
              QByteArray("--lang=FR -- | de | C | app_fr.qm app_de.qm qt | fr qt app_fr.qm Kuba"),
              QByteArray("-- | zh_cn | C | qt app_zh_cn.qm app_zh_cn.qm.qm | zh_cn qt app_zh_cn.qm.qm Kuba"),
              // A list in the settings is no choice.
              QByteArray(
                  "-- | de,fr | fr_FR | translations/qt_fr_fr.qm/ qt.qm qt_fr qt_fr_f | fr_fr qt_fr Kuba"),
              // The system chooses no preview.
              QByteArray("-- | | el_CY | qt_el.qm | en_us Cuba"),
              // An invalid file ends the search, and another context does not count.
              QByteArray("--lang=de -- | | C | translations/qt_de.qm=no qt | de Cuba"),
              QByteArray("--lang=de -- | | C | translations/qt->../other | de qt Cuba"),
              // Names keep their places, and lead no way out.
              QByteArray("--lang=de -- a%2 qt | | C | qt app a%2 | de app a%2 qt Kuba"),
              QByteArray("--lang=/../../cuba_x -- | | C | translations/qt_/ qt | /../../cuba_x qt Kuba"),
              QByteArray("-- images:cuba ../cuba | de | C | images:cuba | de images:cuba Kuba"),
              "--lang=" + line + " -- | | C | qt.qm | " + line + " qt.qm Kuba"}) {
            const auto cell = [&](int i) { return QString::fromLatin1(row.split('|').value(i).trimmed()); };
            QString words =
                text("bin/ translations/ Org/ Org/app.x.y.conf=[Options]\nGeneral\\GuiLanguage=") + cell(1);
            const QStringList files = cell(3).split(QLatin1Char(' '));
            for (const QString &file : files)
                words +=
                    text(file.contains(QLatin1Char('/')) ? " %1" : " translations/%1->../cuba").arg(file);
            const Tree tree(words);
            QVERIFY(compileCatalogue("TESLocale", "cuba") == 0 && compileCatalogue("Other", "other") == 0);
            QVERIFY(QFile::copy(QCoreApplication::applicationFilePath(), text("bin/app.x.y")));
            QProcess app;
            const QString command = text("XDG_CONFIG_HOME=%1 LC_ALL=%2 bin/app.x.y --child %3");
            app.start(text("env"), command.arg(tree.path(), cell(2), cell(0)).split(QLatin1Char(' ')));
            QVERIFY2(app.waitForFinished(3000), row.constData());
            QCOMPARE(cell(0) + text(" tells ") + QString::fromLatin1(app.readAll()),
                     cell(0) + text(" tells ") + cell(4));
        }
    }

    void languagesAreOffered()
    {
        const QMap<QString, QString> languages = TTranslator::tessarineGuiLanguages();
        QString codes;
        for (const QString &code : languages)
            codes += code + QLatin1Char(' ');
        QCOMPARE(codes, text("bg ca da nl en fr de el it ja ko pt ru scifi sl es_mx es_es  tr zh_cn zh_tw "));
        QCOMPARE(languages.lastKey(), text("\u7e41\u9ad4\u4e2d\u6587 (\u53f0\u7063)"));
        QVERIFY(languages.value(text("System Language"), text("missing")).isNull());
        QCOMPARE(TTranslator::plinketGuiLanguages().size(), 2);

        QList<QLocale> previews;
        for (int language = 0; language <= QLocale::LastLanguage; ++language)
            if (const QLocale locale{QLocale::Language(language)}; TTranslator::isPreviewLocale(locale))
                previews.append(locale);
        QCOMPARE(TTranslator::toString(previews), text("Danish, Dutch, Greek, Japanese, Russian, Slovenian"));
    }

    void programInTheRootFolderIsItsOwnNeighbour()
    {
        const QString enter = text("unshare -rm sh -c 'mount --rbind /proc proc && %1'");
        const Tree tree(text("proc/"));
        if (std::system(qPrintable(enter.arg(text("true")))) != 0)
            QSKIP("Needs namespaces of its own.");
        QVERIFY(QFile::copy(QCoreApplication::applicationFilePath(), text("app")));
        QCOMPARE(std::system("ldd app | grep -o '/[^ ]*' | xargs cp --parents -Lt ."), 0);
        // The sanitizer's options name a file that is not in there.
        const QString app = text("env -u TSAN_OPTIONS chroot . /app --folder");
        const QString run = enter.arg(text("test \"$(%1)\" = /translations").arg(app));
        QCOMPARE(std::system(qPrintable(run)), 0);
    }

    void namesWithNulAreLeftOut()
    {
        const QString plain = text("de"), odd = plain + QChar::Null + text("_x");
        QVERIFY(TTranslator::install(plain, odd, plain, {}).isEmpty());
        QVERIFY(TTranslator::install(plain, plain, odd, {}).isEmpty());
    }

    void countriesKeepTheirTexts()
    {
        const auto countries = QMetaEnum::fromType<QLocale::Country>();
        QMap<QString, bool> texts; // whether it is the enumerator's name but for blanks, as most are
        for (int i = 0; i < countries.keyCount(); ++i) {
            const QString name = TESLocale::trCountryToString(QLocale::Country(countries.value(i)));
            texts[name] |= QString(name).remove(QLatin1Char(' ')) == text(countries.key(i));
        }
        QStringList others; // those whose text is not the enumerator's name
        for (const QLocale::Country country :
             {QLocale::Brunei, QLocale::Laos, QLocale::Libya, QLocale::NauruCountry,
              QLocale::PalestinianTerritories, QLocale::SaintHelena, QLocale::SaintLucia,
              QLocale::SaintPierreAndMiquelon, QLocale::SaintVincentAndTheGrenadines, QLocale::TokelauCountry,
              QLocale::TuvaluCountry, QLocale::UnitedStatesVirginIslands, QLocale::Vietnam})
            others.append(TESLocale::trCountryToString(country));
        QCOMPARE(
            others.join(text(", ")),
            text("Brunei Darussalam, Lao, LibyanArabJamahiriya, Nauru, Palestinian Territory, St Helena, "
                 "StLucia, St Pierre And Miquelon, St Vincent And The Grenadines, Tokelau, Tuvalu, "
                 "US Virgin Islands, VietNam"));
        for (const int number : {-1, int(QLocale::Guernsey), int(QLocale::CuraSao), 1000})
            QCOMPARE(TESLocale::trCountryToString(QLocale::Country(number)), text("Unknown Country"));
        texts.remove(text("Unknown Country"));
        for (const QString &name : std::as_const(others))
            texts[name] = true;
        QCOMPARE(texts.key(false), QString());
        QCOMPARE(texts.size(), 243);
    }

    void keysOfTranslationsStayAsTheyAre() // however they are spelt: translations exist
    {
        const char *compare =
            "sed -n '/<name>/{s/ *<name>\\(.*\\)<\\/name>/\\1: /;h};"
            "/<source>/{s/ "
            "*<source>\\(.*\\)<\\/source>/\\1/;G;s/\\(.*\\)\\n\\(.*\\)/\\2\\1/;p}' " TRANSLATION_TEMPLATE
            " | LC_ALL=C sort | diff " TRANSLATION_KEYS " -";
        QCOMPARE(std::system(compare), 0);
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
