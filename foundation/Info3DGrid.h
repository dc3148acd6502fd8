#pragma once
// Element types of a cube of bricks.

#include "platform/api.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

struct Info3DGrid {
    enum eDataType {
        BIT1 = 0,
        INT8 = 1,
        UINT8 = 2,
        INT16 = 3,
        UINT16 = 4,
        INT32 = 5,
        UINT32 = 6,
        INT64 = 7,
        UINT64 = 8,
        FLOAT = 9,
        DOUBLE = 10
    };

    // Bytes per element as used for sizing a brick: 0.125 for BIT1; 0 for an
    // unknown value.
    static double bytes_per_element(eDataType type);
    // Bytes that n elements occupy, bits packed eight to a byte.
    static unsigned long long bytes_for(eDataType type, unsigned long long n);
    static bool is_valid(int type) { return type >= BIT1 && type <= DOUBLE; }
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
