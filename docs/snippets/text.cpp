// The examples of the page "Text and quotation marks". Compiled with the tests.
#include <TesCore/TESCoreUtil.h>
#include <TesCore/TESQuote.h>

QString withoutComments(QString text)
{
    //! [remove]
    TESCoreUtil::Remove(&text, QStringLiteral("<!--"), QStringLiteral("-->")); // "a<!-- b -->c" => "ac"
    //! [remove]
    return text;
}

QString firstAddress(const QString &text)
{
    //! [pattern]
    QRegExp pattern = TESCoreUtil::emailPattern(); // a copy of one's own: matching changes it
    return pattern.indexIn(text) >= 0 ? pattern.cap() : QString();
    //! [pattern]
}

QString straightened(const QString &text)
{
    //! [straighten]
    const QLocale german(QLocale::German);
    return TESQuote::simplifyQuotes(text, TESQuote::singleQuotes(german), TESQuote::doubleQuotes(german));
    //! [straighten]
}

QString quoted(const QString &text)
{
    //! [quote]
    const auto [open, close] = TESQuote::doubleQuotes().value(TESQuote::DoubleAngleLeftRight);
    return open + text + close;
    //! [quote]
}
