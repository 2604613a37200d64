// The examples of the page "Values as text". Compiled with the tests.
#include <TesCore/TCoreType.h>
#include <TesCore/TUuid.h>

#include <QSettings>

void storePosition(QSettings &settings, const QPointF &position)
{
    //! [write]
    settings.setValue(QStringLiteral("Window/Position"), TCoreType::toString(position, 2)); // "12.50,3.25"
    //! [write]
}

QPointF storedPosition(const QSettings &settings, const QPointF &fallback)
{
    //! [read]
    bool ok = false;
    const QString text = settings.value(QStringLiteral("Window/Position")).toString();
    const QPointF position = TCoreType::toPointF(text, &ok);
    return ok ? position : fallback; // a half-readable text gives no half-read point
    //! [read]
}

QString withoutChapter(const QString &selection, int chapter)
{
    //! [ids]
    QSet<int> ids = TCoreType::splitToIds(selection); // "3-5, 9" => {3, 4, 5, 9}
    ids.remove(chapter);
    return TCoreType::toString(ids); // without 4: "3, 5, 9"
    //! [ids]
}

QStringList documentNames(const QList<QUuid> &documents)
{
    //! [uuids]
    return TUuid::toStringListNoBraces(documents); // "00000000-0000-0000-0000-000000000000" for a null one
    //! [uuids]
}
