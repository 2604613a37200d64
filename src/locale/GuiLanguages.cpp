#include <TesCore/TTranslator.h>

#include <QObject>

#include <algorithm>

namespace TTranslator {

namespace {

using Catalogue = QMap<QString, QString>;

enum class Name { System, English, ScienceFiction, Plain, Preview, Spain, LatinAmerica, China, Taiwan };

struct Offer
{
    Name name;
    QLocale::Language language;
    const char *code;
};

// Where translations make two names equal, the later entry stays: the order is part of the result.
constexpr Offer tessarineOffers[] = {
    {Name::System, QLocale::AnyLanguage, nullptr},
    {Name::English, QLocale::English, "en"},
    {Name::Plain, QLocale::Bulgarian, "bg"},
    {Name::Plain, QLocale::Catalan, "ca"},
    {Name::China, QLocale::Chinese, "zh_cn"},
    {Name::Taiwan, QLocale::Chinese, "zh_tw"},
    {Name::Preview, QLocale::Danish, "da"},
    {Name::Preview, QLocale::Dutch, "nl"},
    {Name::Plain, QLocale::French, "fr"},
    {Name::Plain, QLocale::German, "de"},
    {Name::Preview, QLocale::Greek, "el"},
    {Name::Plain, QLocale::Italian, "it"},
    {Name::Preview, QLocale::Japanese, "ja"},
    {Name::Plain, QLocale::Korean, "ko"},
    {Name::Plain, QLocale::Portuguese, "pt"},
    {Name::Preview, QLocale::Russian, "ru"},
    {Name::ScienceFiction, QLocale::AnyLanguage, "scifi"},
    {Name::Preview, QLocale::Slovenian, "sl"},
    {Name::Spain, QLocale::Spanish, "es_es"},
    {Name::LatinAmerica, QLocale::Spanish, "es_mx"},
    {Name::Plain, QLocale::Turkish, "tr"},
};

constexpr Offer plinketOffers[] = {
    {Name::English, QLocale::English, "en"},
    {Name::ScienceFiction, QLocale::AnyLanguage, "scifi"},
};

QString nativeName(const QLocale &locale)
{
    return locale.nativeLanguageName() + QLatin1String(" (") + locale.nativeCountryName() + QLatin1Char(')');
}

QString displayName(const Offer &offer)
{
    const QString plain = QLocale::languageToString(offer.language);
    switch (offer.name) {
    case Name::System:
        return QObject::tr("System Language");
    case Name::English:
        return QStringLiteral("English");
    case Name::ScienceFiction:
        return QObject::tr("Science Fiction");
    case Name::Plain:
        return plain;
    case Name::Preview:
        return QObject::tr("%1 (Preview Available)").arg(plain);
    case Name::Spain:
        return QObject::tr("%1 (Spain)").arg(plain);
    case Name::LatinAmerica:
        return QObject::tr("%1 (Latin America)").arg(plain);
    case Name::China:
        return nativeName(QLocale(offer.language, QLocale::China));
    case Name::Taiwan:
        return nativeName(QLocale(offer.language, QLocale::Taiwan));
    }
    return plain;
}

template <size_t Count>
Catalogue catalogue(const Offer (&offers)[Count])
{
    Catalogue languages;
    for (const Offer &offer : offers)
        languages.insert(displayName(offer), QString::fromLatin1(offer.code));
    return languages;
}

} // namespace

QMap<QString, QString> tessarineGuiLanguages()
{
    return catalogue(tessarineOffers);
}

QMap<QString, QString> plinketGuiLanguages()
{
    return catalogue(plinketOffers);
}

bool isPreviewLocale(const QLocale &locale)
{
    const QString name = QLocale::languageToString(locale.language());
    const QStringList keys = tessarineGuiLanguages().keys();
    const auto key =
        std::find_if(keys.begin(), keys.end(), [&](const QString &text) { return text.contains(name); });
    return key != keys.end() && key->contains(QObject::tr("Preview Available"));
}

QString toString(const QList<QLocale> &locales)
{
    QStringList names;
    for (const QLocale &locale : locales)
        names.append(QLocale::languageToString(locale.language()));
    return names.join(QLatin1String(", "));
}

} // namespace TTranslator
