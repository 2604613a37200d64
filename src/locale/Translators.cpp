#include <TesCore/TTranslator.h>
#include <TesCore/TesCore.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QTranslator>

#include <memory>

#include <climits>

namespace TTranslator {

namespace {

/// Whether a file that lies in a folder can have this name.
bool isFileName(const QString &name)
{
    const QByteArray native = QFile::encodeName(name);
    return native.size() <= NAME_MAX && !native.contains('/') && !native.contains('\0');
}

/// The same name as one that Qt does not take for an absolute path, which it does with ":name", a resource,
/// and "images:name" where the application has set a search path of that name.
QString relativeName(const QString &name)
{
    return QDir::isAbsolutePath(name) ? QLatin1String("./") + name : name;
}

bool isReadableFile(const QString &folder, const QString &name)
{
    const bool needsSlash = !folder.isEmpty() && !folder.endsWith(QLatin1Char('/'));
    const QFileInfo file(needsSlash ? folder + QLatin1Char('/') + name : folder + name);
    return file.isReadable() && file.isFile();
}

/// The search of QTranslator::load() with the delimiter "_", over the names that stay in the folder.
QString findCatalogue(const QString &folder, QString name)
{
    for (;;) {
        // No character takes less than a byte: this spares a very long name its copies.
        if (name.size() <= NAME_MAX) {
            for (const QString &candidate : {name + QLatin1String(".qm"), name}) {
                if (isFileName(candidate) && isReadableFile(folder, relativeName(candidate)))
                    return relativeName(candidate);
            }
        }
        const auto cut = name.lastIndexOf(QLatin1Char('_'));
        if (cut <= 0)
            return QString();
        name.truncate(cut);
    }
}

std::unique_ptr<QTranslator> loadCatalogue(const QString &folder, const QString &fileName, QObject *parent)
{
    const QString found = findCatalogue(folder, fileName);
    if (found.isNull())
        return nullptr;
    auto translator = std::make_unique<QTranslator>(parent);
    // Empty but not null: neither delimiters nor a suffix, so that Qt tries no other name.
    const QString none = QLatin1String("");
    return translator->load(found, folder, none, none) ? std::move(translator) : nullptr;
}

QStringList withRequired(QStringList names, const QString &target)
{
    for (const QString &name : {target, QStringLiteral("qt")}) {
        if (!names.contains(name))
            names.prepend(name);
    }
    return names;
}

QString storedLanguage(const char *settingsKey)
{
    const QString key = QString::fromLatin1(settingsKey);
    return key.isEmpty() ? QString() : QSettings().value(key).toString();
}

QString systemLanguage()
{
    const QLocale system = QLocale::system();
    return isPreviewLocale(system) ? QStringLiteral("en_US") : system.name();
}

} // namespace

QList<QTranslator *> install()
{
    return install(QStringList());
}

QList<QTranslator *> install(const QStringList &targets)
{
    return install(defaultTarget(), defaultLanguage("Options/General/GuiLanguage"), defaultTranslationPath(),
                   targets);
}

QList<QTranslator *> install(const QString &target, const QString &language, const QString &path,
                             const QStringList &targets)
{
    QList<QTranslator *> installed;
    if (path.contains(QChar::Null))
        return installed;
    const QStringList names = withRequired(targets, target);
    for (const QString &name : names) {
        const QString fileName = name + QLatin1Char('_') + language + QLatin1String(".qm");
        auto translator = loadCatalogue(path, fileName, QCoreApplication::instance());
        if (translator == nullptr)
            continue;
        QCoreApplication::installTranslator(translator.get());
        installed.append(translator.release());
    }
    return installed;
}

QString defaultLanguage(const char *settingsKey)
{
    QString language = TESCoreApp::appArgValue(QStringLiteral("--lang"));
    if (language.isEmpty())
        language = storedLanguage(settingsKey);
    if (language.isEmpty())
        language = systemLanguage();
    return language.toLower();
}

QString defaultTarget()
{
    return QFileInfo(QCoreApplication::applicationFilePath()).baseName();
}

QString defaultTranslationPath()
{
    QDir folder(QCoreApplication::applicationDirPath());
    folder.cdUp(); // stays where it is for a program in "/"
    return folder.absoluteFilePath(QStringLiteral("translations"));
}

QString systemGuiLanguageCode()
{
    return QLocale::system().name();
}

} // namespace TTranslator
