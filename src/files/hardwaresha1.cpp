#include "hardwaresha1_p.h"

#include <QtEndian>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#include <immintrin.h>
#endif

namespace TesCoreFiles {

namespace {

constexpr std::size_t blockSize = 64;

#if defined(__x86_64__) || defined(__i386__)

bool processorHasInstructions()
{
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    constexpr unsigned shuffles = bit_SSSE3 | bit_SSE4_1;
    if (__get_cpuid(1, &a, &b, &c, &d) == 0 || (c & shuffles) != shuffles)
        return false;
    return __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && (b & bit_SHA) != 0;
}

const __m128i *vectors(const void *memory)
{
    return static_cast<const __m128i *>(memory);
}

/// One vector holds four of the 80 words that a block expands to, and one instruction does four rounds.
__attribute__((target("sha,ssse3,sse4.1"))) void hashBlocks(quint32 *state, const char *data,
                                                            std::size_t count)
{
    const __m128i bigEndian = _mm_set_epi32(0x00010203, 0x04050607, 0x08090a0b, 0x0c0d0e0f);
    __m128i abcd = _mm_shuffle_epi32(_mm_loadu_si128(vectors(state)), 0x1b);
    __m128i e = _mm_set_epi32(int(state[4]), 0, 0, 0);
    for (; count > 0; --count, data += blockSize) {
        __m128i words[4];
        for (int i = 0; i < 4; ++i)
            words[i] = _mm_shuffle_epi8(_mm_loadu_si128(vectors(data) + i), bigEndian);
        const __m128i abcdBefore = abcd;
        __m128i previous = abcd;
#pragma GCC unroll 20
        for (int i = 0; i < 20; ++i) {
            __m128i &word = words[i % 4];
            if (i >= 4) {
                const __m128i mixed = _mm_sha1msg1_epu32(word, words[(i + 1) % 4]);
                word = _mm_sha1msg2_epu32(_mm_xor_si128(mixed, words[(i + 2) % 4]), words[(i + 3) % 4]);
            }
            const __m128i added = i == 0 ? _mm_add_epi32(e, word) : _mm_sha1nexte_epu32(previous, word);
            previous = abcd;
            switch (i / 5) {
            case 0:
                abcd = _mm_sha1rnds4_epu32(abcd, added, 0);
                break;
            case 1:
                abcd = _mm_sha1rnds4_epu32(abcd, added, 1);
                break;
            case 2:
                abcd = _mm_sha1rnds4_epu32(abcd, added, 2);
                break;
            default:
                abcd = _mm_sha1rnds4_epu32(abcd, added, 3);
            }
        }
        e = _mm_sha1nexte_epu32(previous, e);
        abcd = _mm_add_epi32(abcd, abcdBefore);
    }
    _mm_storeu_si128(static_cast<__m128i *>(static_cast<void *>(state)), _mm_shuffle_epi32(abcd, 0x1b));
    state[4] = quint32(_mm_extract_epi32(e, 3));
}

#else

bool processorHasInstructions()
{
    return false;
}

void hashBlocks(quint32 *, const char *, std::size_t) {}

#endif

} // namespace

bool HardwareSha1::isAvailable()
{
    static const bool available = processorHasInstructions();
    return available;
}

void HardwareSha1::add(const char *data, std::size_t size)
{
    const std::size_t blocks = size / blockSize;
    hashBlocks(m_state, data, blocks);
    m_rest = QByteArray(data + blocks * blockSize, int(size % blockSize));
    m_size += size;
}

QByteArray HardwareSha1::result()
{
    // A one, zeros up to the end of a block, and in its last eight bytes the length in bits.
    QByteArray end = m_rest + '\x80';
    while (end.size() % int(blockSize) != int(blockSize - sizeof(quint64)))
        end += '\0';
    end.resize(end.size() + int(sizeof(quint64)));
    qToBigEndian(m_size * 8, end.data() + end.size() - sizeof(quint64));
    hashBlocks(m_state, end.constData(), std::size_t(end.size()) / blockSize);

    QByteArray digest(int(sizeof m_state), Qt::Uninitialized);
    qToBigEndian<quint32>(m_state, 5, digest.data());
    return digest;
}

} // namespace TesCoreFiles
