#include "weftbase/Crc32.h"

#include <zlib.h>

#include <cpuid.h>
#include <immintrin.h>

#include <cstdint>

namespace
{
// Folds 128 bits of the running remainder forward over the distance that k's halves encode, onto y.
__attribute__((target("pclmul,sse4.1"))) inline __m128i Fold(__m128i x, __m128i k, __m128i y)
{
    return _mm_xor_si128(_mm_xor_si128(_mm_clmulepi64_si128(x, k, 0x00), _mm_clmulepi64_si128(x, k, 0x11)), y);
}

// The folding of Intel's "Fast CRC Computation for Generic Polynomials Using PCLMULQDQ", in its
// bit-reflected form: four lanes of 128 bits over 64-byte blocks, folded into one, then reduced
// to 32 bits (Barrett). size: at least 64, a multiple of 16. crc and result are uninverted.
__attribute__((target("pclmul,sse4.1"))) uint32_t FoldBlocks(const unsigned char* data, size_t size, uint32_t crc)
{
    // The paper's constants for this polynomial: folds over 512 and over 128 bits, from 64 to 32
    // bits, and the polynomial with its Barrett quotient.
    const __m128i k1k2 = _mm_set_epi64x(0x01c6e41596, 0x0154442bd4);
    const __m128i k3k4 = _mm_set_epi64x(0x00ccaa009e, 0x01751997d0);
    const __m128i k5 = _mm_cvtsi64_si128(0x0163cd6124);  // read as a low half only
    const __m128i poly = _mm_set_epi64x(0x01f7011641, 0x01db710641);
    const auto load = [](const unsigned char* at) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at)); };
    __m128i x1 = _mm_xor_si128(load(data), _mm_cvtsi32_si128(static_cast<int>(crc)));
    __m128i x2 = load(data + 16), x3 = load(data + 32), x4 = load(data + 48);
    data += 64;
    size -= 64;
    for (; size >= 64; data += 64, size -= 64)
    {
        x1 = Fold(x1, k1k2, load(data));
        x2 = Fold(x2, k1k2, load(data + 16));
        x3 = Fold(x3, k1k2, load(data + 32));
        x4 = Fold(x4, k1k2, load(data + 48));
    }
    x1 = Fold(Fold(Fold(x1, k3k4, x2), k3k4, x3), k3k4, x4);
    for (; size >= 16; data += 16, size -= 16)
        x1 = Fold(x1, k3k4, load(data));
    const __m128i low32 = _mm_cvtsi32_si128(~0);  // the low 32 bits of a low half, which alone is read
    x1 = _mm_xor_si128(_mm_srli_si128(x1, 8), _mm_clmulepi64_si128(x1, k3k4, 0x10));
    x1 = _mm_xor_si128(_mm_clmulepi64_si128(_mm_and_si128(x1, low32), k5, 0x00), _mm_srli_si128(x1, 4));
    __m128i t = _mm_clmulepi64_si128(_mm_and_si128(x1, low32), poly, 0x10);
    t = _mm_clmulepi64_si128(_mm_and_si128(t, low32), poly, 0x00);
    return static_cast<uint32_t>(_mm_extract_epi32(_mm_xor_si128(x1, t), 1));
}

bool HasFolding()
{
    static const bool has = [] {
        unsigned int a = 0, b = 0, c = 0, d = 0;
        return __get_cpuid(1, &a, &b, &c, &d) && (c & bit_PCLMUL) && (c & bit_SSE4_1);
    }();
    return has;
}
}  // namespace

namespace Crc32
{
unsigned long Update(unsigned long crc, const unsigned char* data, size_t size)
{
    if (size >= 64 && HasFolding())
    {
        const size_t blocks = size & ~static_cast<size_t>(15);
        crc = ~FoldBlocks(data, blocks, ~static_cast<uint32_t>(crc));
        data += blocks;
        size -= blocks;
    }
    // The tail, and everything on a processor without the instruction. Pieces fit zlib's count.
    while (size > 0)
    {
        const uInt piece = static_cast<uInt>(size < 0x40000000 ? size : 0x40000000);
        crc = crc32(crc, data, piece);
        data += piece;
        size -= piece;
    }
    return crc & 0xFFFFFFFFul;
}
}  // namespace Crc32
