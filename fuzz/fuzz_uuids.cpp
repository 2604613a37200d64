#include "fuzz.h"

#include <TesCore/TUuid.h>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    QList<QString> texts;
    for (Fields fields(data, size); !fields.isEmpty();)
        texts.append(fields.text());
    const QList<QUuid> uuids = TUuid::toUuidList(texts);
    require(uuids.size() == texts.size());
    for (int i = 0; i < uuids.size(); ++i) {
        require(uuids.at(i) == QUuid(texts.at(i)));
        require(TUuid::toByteArrayNoBraces(uuids.at(i), true) ==
                uuids.at(i).toByteArray().mid(1, 36).toUpper());
    }
    for (const bool upperCase : {false, true}) {
        require(TUuid::toUuidList(TUuid::toStringListNoBraces(uuids, upperCase)) == uuids);
        require(TUuid::toUuidList(TUuid::toStringList(uuids, upperCase)) == uuids);
    }
    return 0;
}
