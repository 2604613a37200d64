#include <TesCore/TESCoreUtil.h>
#include <TesCore/TESFileUtil.h>

#include "openfile_p.h"

#include <memory>
#include <new>

namespace {

using namespace TesCoreFiles;

// Large enough that the system calls do not show, small enough to stay in the processor's second cache. The
// kernel copies fastest to whole pages.
constexpr std::size_t blockSize = 256 * 1024;
constexpr std::align_val_t pageSize{4096};

struct FreeBlock
{
    void operator()(char *block) const { ::operator delete(block, pageSize); }
};

using Block = std::unique_ptr<char, FreeBlock>;

} // namespace

QByteArray TESFileUtil::calcChecksum(const QString &path, QCryptographicHash::Algorithm algorithm)
{
    if (QCryptographicHash::hashLength(algorithm) == 0)
        return QByteArray();
    const Descriptor file = openForReading(path);
    if (!file.isOpen())
        return QByteArray();

    const Block block(static_cast<char *>(::operator new(blockSize, pageSize)));
    QCryptographicHash hash(algorithm);
    for (;;) {
        const ssize_t got = retrying([&] { return ::read(file.get(), block.get(), blockSize); });
        if (got < 0)
            return QByteArray();
        if (got == 0)
            return hash.result();
        hash.addData(QByteArray::fromRawData(block.get(), int(got)));
    }
}

bool TESFileUtil::setLastModifiedDateTime(const QString &, const QDateTime &, const QDateTime &)
{
    return false;
}

QByteArray TESCoreUtil::calcHashSum(const QString &fileName)
{
    return TESFileUtil::calcChecksum(fileName, QCryptographicHash::Sha1);
}
