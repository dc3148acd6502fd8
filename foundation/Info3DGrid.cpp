#include "foundation/Info3DGrid.h"

namespace Tolmar {

double Info3DGrid::bytes_per_element(eDataType type)
{
    switch (type) {
    case BIT1: return 0.125;
    case INT8:
    case UINT8: return 1;
    case INT16:
    case UINT16: return 2;
    case INT32:
    case UINT32:
    case FLOAT: return 4;
    case INT64:
    case UINT64:
    case DOUBLE: return 8;
    }
    return 0;
}

unsigned long long Info3DGrid::bytes_for(eDataType type, unsigned long long n)
{
    if (type == BIT1) return (n + 7) / 8;
    return n * static_cast<unsigned long long>(bytes_per_element(type));
}

} // namespace Tolmar
