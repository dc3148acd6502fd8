#pragma once
// The description of a survey kept in a brick file's header.

#include "platform/api.h"

#include <string>
#include <vector>

#include "foundation/Info3DGrid.h"
#include "foundation/vec.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

struct SEGYCubeInfo {
    std::string name; // the cube's file name without folder or extension
    Info3DGrid::eDataType type = Info3DGrid::FLOAT;
    std::vector<unsigned long long> histogram; // reserved; the histogram travels beside it
    vec<int, 3> inlineRange{{0, 0, 1}};        // start, stop, step
    vec<int, 3> crosslineRange{{0, 0, 1}};
    double zStart = 0.0, zStop = 0.0, zStep = 1.0; // milliseconds
    float minValue = 0.0f, maxValue = 0.0f;
    double xInl = 0.0, xCrl = 0.0, x0 = 0.0;
    double yInl = 0.0, yCrl = 0.0, y0 = 0.0;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
