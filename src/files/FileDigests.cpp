#include <TesCore/TESCoreUtil.h>
#include <TesCore/TESFileUtil.h>

#include "hardwaresha1_p.h"
#include "openfile_p.h"

#include <memory>
#include <new>

namespace {

using namespace TesCoreFiles;

// Large enough that the system calls do not show, small enough to stay in the processor's second cache. The
// kernel copies fastest to whole pages.
constexpr std::size_t blockSize = std::size_t{256} * 1024;
constexpr std::align_val_t pageSize{4096};

struct FreeBlock
{
    void operator()(char *block) const { ::operator delete(block, pageSize); }
};

using Block = std::unique_ptr<char, FreeBlock>;

class QtHash
{
public:
    explicit QtHash(QCryptographicHash::Algorithm algorithm) : m_hash(algorithm) {}
    void add(const char *data, std::size_t size) { m_hash.addData(QByteArray::fromRawData(data, int(size))); }
    QByteArray result() const { return m_hash.result(); }

private:
    QCryptographicHash m_hash;
};

/// The digest of the rest of the file; a null array when it cannot be read to its end.
template <typename Hash>
QByteArray digestOf(const Descriptor &file, Hash &&hash)
{
    const Block block(static_cast<char *>(::operator new(blockSize, pageSize)));
    for (;;) {
        const qint64 got = readInto(file, block.get(), blockSize);
        if (got < 0)
            return QByteArray();
        hash.add(block.get(), std::size_t(got));
        if (got < qint64(blockSize))
            return hash.result();
    }
}

} // namespace

QByteArray TESFileUtil::calcChecksum(const QString &path, QCryptographicHash::Algorithm algorithm)
{
    if (QCryptographicHash::hashLength(algorithm) == 0)
        return QByteArray();
    const Descriptor file = openForReading(path);
    if (!file.isOpen())
        return QByteArray();
    if (algorithm == QCryptographicHash::Sha1 && HardwareSha1::isAvailable())
        return digestOf(file, HardwareSha1());
    return digestOf(file, QtHash(algorithm));
}

bool TESFileUtil::setLastModifiedDateTime(const QString &, const QDateTime &, const QDateTime &)
{
    return false;
}

QByteArray TESCoreUtil::calcHashSum(const QString &fileName)
{
    return TESFileUtil::calcChecksum(fileName, QCryptographicHash::Sha1);
}
