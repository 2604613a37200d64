#include "fuzz.h"

#include <TesCore/TesCore.h>

#include <QCoreApplication>

#include <vector>

namespace {

QString value(const QStringList &arguments, QString name)
{
    name = name.toLower();
    const QString key = name.endsWith(QLatin1Char('=')) ? name : name + QLatin1Char('=');
    for (int i = 0; i < arguments.size(); ++i) {
        QString argument = arguments.at(i);
        const QString lowered = argument.toLower();
        if (lowered.startsWith(key))
            return argument.remove(key, Qt::CaseInsensitive);
        if (lowered == name && i + 1 < arguments.size() && !arguments.at(i + 1).startsWith(QLatin1Char('-')))
            return arguments.at(i + 1);
    }
    return name.startsWith(QLatin1String("--")) ? QString() : value(arguments, QLatin1Char('-') + name);
}

bool startsWith(const QStringList &arguments, const QString &prefix)
{
    for (const QString &argument : arguments) {
        const QString lowered = argument.toLower();
        if (lowered.startsWith(prefix.toLower()))
            return true;
    }
    return !prefix.startsWith(QLatin1String("--")) && startsWith(arguments, QLatin1Char('-') + prefix);
}

bool contains(const QStringList &arguments, const QString &name)
{
    if (arguments.contains(name))
        return true;
    if (name.startsWith(QLatin1String("--")))
        return startsWith(arguments, name.mid(2) + QLatin1Char('='));
    return contains(arguments, QLatin1Char('-') + name);
}

} // namespace

void check(Fields fields)
{
    const QString name = fields.text();
    QList<QByteArray> words{QByteArrayLiteral("/opt/app/bin/app")};
    while (!fields.isEmpty())
        words.append(fields.bytes());
    std::vector<char *> pointers;
    for (QByteArray &word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    int count = int(words.size());
    const QCoreApplication application(count, pointers.data());

    const QStringList arguments = QCoreApplication::arguments();
    const QString found = TESCoreApp::appArgValue(name), expected = value(arguments, name);
    require(found == expected && found.isNull() == expected.isNull());
    const QString otherwise = QStringLiteral("else");
    require(TESCoreApp::appArgValue(name, otherwise) == (found.isEmpty() ? otherwise : found));
    bool ok = false;
    const int number = found.toInt(&ok);
    require(TESCoreApp::appArgInt(name, 7) == (ok ? number : 7));
    require(TESCoreApp::appArgStartsWith(name) == startsWith(arguments, name));
    require(TESCoreApp::appArgContains(name) == contains(arguments, name));
}
