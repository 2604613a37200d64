#include <TesCore/TESCoreUtil.h>
#include <TesCore/TESFileUtil.h>

#include "hardwaresha1_p.h"
#include "openfile_p.h"
#include <base/exceptions_p.h>

#include <algorithm>
#include <memory>
#include <new>

namespace {

using namespace TesCoreFiles;

// Large enough that the system calls do not show, small enough to stay in the processor's second cache.
constexpr qint64 largestBlock = qint64{256} * 1024;
// The kernel copies fastest to memory aligned like this, whatever the size of its pages.
constexpr qint64 alignment = 4096;

struct FreeBlock
{
    void operator()(char *block) const { ::operator delete(block, std::align_val_t(alignment)); }
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

/// The digest of the rest of the file, of which `expected` bytes are expected; a null array when it cannot be
/// read to its end.
template <typename Hash>
QByteArray digestOf(const Descriptor &file, qint64 expected, Hash &&hash)
{
    // One byte more than expected, so that the end shows in the same read. For a small file a large block
    // would cost more than the digest: it comes from the kernel, and goes back to it.
    const auto size = std::size_t(std::min(expected, largestBlock - 1) / alignment * alignment + alignment);
    const Block block(static_cast<char *>(::operator new(size, std::align_val_t(alignment))));
    for (;;) {
        std::size_t got = 0;
        if (!readAll(file.get(), block.get(), size, &got))
            return QByteArray();
        hash.add(block.get(), got);
        if (got < size)
            return hash.result();
    }
}

} // namespace

QByteArray TESFileUtil::calcChecksum(const QString &path, QCryptographicHash::Algorithm algorithm)
{
    return orFailure([&] {
        qint64 expected = 0;
        const bool isKnown = QCryptographicHash::hashLength(algorithm) > 0;
        const Descriptor file = isKnown ? openForReading(path, nullptr, &expected) : Descriptor();
        if (!file.isOpen())
            return QByteArray();
        if (algorithm == QCryptographicHash::Sha1 && HardwareSha1::isAvailable())
            return digestOf(file, expected, HardwareSha1());
        return digestOf(file, expected, QtHash(algorithm));
    });
}

bool TESFileUtil::setLastModifiedDateTime(const QString &, const QDateTime &, const QDateTime &)
{
    return false;
}

QByteArray TESCoreUtil::calcHashSum(const QString &fileName)
{
    return TESFileUtil::calcChecksum(fileName, QCryptographicHash::Sha1);
}
