#include <TesCore/TESCoreUtil.h>

#include <QUuid>

QString TESCoreUtil::CreateUUID()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}
