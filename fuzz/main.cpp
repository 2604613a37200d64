#include "fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    const QByteArray all(reinterpret_cast<const char *>(data), int(size));
    check(Fields(all));
    return 0;
}
