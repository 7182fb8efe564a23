// The CRC-32 of zip entries (the reflected polynomial 0xEDB88320), as zlib's crc32 gives it, but
// folded with carry-less multiplication where the processor has it: stored data is only read,
// summed and written, and zlib's tables would take longer than the copy. Not exported.
#pragma once

#include <cstddef>

namespace Crc32
{
// The CRC of the bytes that follow those that gave crc (0 to start).
unsigned long Update(unsigned long crc, const unsigned char* data, size_t size);
}  // namespace Crc32
