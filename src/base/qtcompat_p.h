#ifndef TESCORE_QTCOMPAT_P_H
#define TESCORE_QTCOMPAT_P_H

/// \file qtcompat_p.h
/// Every place where Qt 5 and Qt 6 differ in what the library promises.

#include <QCalendar>
#include <QDate>
#include <QLocale>
#include <QString>
#include <QStringView>
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
#include <QTextCodec>
#endif

namespace TesCoreBase {

/// The decimal number that `text` is, as QString::toInt() of Qt 5 reads it. Qt 6 (seen in 6.4) skips no white
/// space beyond ASCII, does not know U+2212 as a minus sign, and takes a NUL for the end of the text.
inline int toInt(QStringView text, bool *ok)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    *ok = false;
    if (text.contains(QChar::Null))
        return 0;
    return text.trimmed().toString().replace(QChar(0x2212), QLatin1Char('-')).toInt(ok);
#else
    return text.toInt(ok);
#endif
}

/// The date that `text` is in the C locale; `format` has no signs. Qt 5 (seen in 5.15) takes a "+" and Qt 6
/// (seen in 6.4) a "-" in front of a number. Qt 5.15 builds its calendars on first use without a lock: a
/// thread that asks meanwhile finds none, or one half built. The first call therefore has them built while
/// all others wait.
inline QDate toDate(const QString &text, const QString &format)
{
    [[maybe_unused]] static const QCalendar first;
    const bool hasSign = text.contains(QLatin1Char('+')) || text.contains(QLatin1Char('-'));
    return hasSign ? QDate() : QLocale::c().toDate(text, format);
}

/// Whether Qt still knows the encoding of file names. Qt 5 (seen in 5.15) takes them for Latin-1 once its
/// codecs are gone, while static objects are destroyed; before, they are UTF-8 in every locale (with ICU,
/// seen in C and ISO 8859-1), and always so in Qt 6.
inline bool knowsFileNames()
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    return true;
#else
    return QTextCodec::codecForLocale() != nullptr;
#endif
}

} // namespace TesCoreBase

#endif
