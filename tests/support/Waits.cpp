#include "support/Waits.h"

#include <cstdlib>

namespace weft::test
{
DWORD Scaled(DWORD ms)
{
    static const double scale = [] {
        const char* text = std::getenv("WEFT_TIMEOUT_SCALE");
        const double v = text ? std::atof(text) : 1.0;
        return v > 0 ? v : 1.0;
    }();
    return static_cast<DWORD>(ms * scale);
}
}  // namespace weft::test
